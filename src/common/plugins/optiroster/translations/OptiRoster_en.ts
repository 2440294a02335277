<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en_US">
<context>
    <name>Plugin::OptiRoster::Internal::CCamera</name>
    <message>
        <source>Could not get compression descriptor hash.</source>
        <translation>Could not get compression descriptor hash.</translation>
    </message>
    <message>
        <source>Could not get compression descriptor.</source>
        <translation>Could not get compression descriptor.</translation>
    </message>
    <message>
        <source>Could not get compression mode.</source>
        <translation>Could not get compression mode.</translation>
    </message>
    <message>
        <source>Could not get image size for decompression.</source>
        <translation>Could not get image size for decompression.</translation>
    </message>
    <message>
        <source>Invalid compression descriptor hash size found.</source>
        <translation>Invalid compression descriptor hash size found.</translation>
    </message>
    <message>
        <source>Invalid compression descriptor size found.</source>
        <translation>Invalid compression descriptor size found.</translation>
    </message>
    <message>
        <source>Invalid image size for decompression found.</source>
        <translation>Invalid image size for decompression found.</translation>
    </message>
    <message>
        <source>Unknown compression mode found.</source>
        <translation>Unknown compression mode found.</translation>
    </message>
</context>
<context>
    <name>Plugin::OptiRoster::Internal::COptiRoster</name>
    <message>
        <source>Failed to find camera. Check the IP configuration.</source>
        <translation>Failed to find camera. Check the IP configuration.</translation>
    </message>
    <message>
        <source>No GigE transport layer found.</source>
        <translation>No GigE transport layer found.</translation>
    </message>
    <message>
        <source>No active camera available at the moment.</source>
        <translation>No active camera available at the moment.</translation>
    </message>
    <message>
        <source>No camera found for the provided camera info.</source>
        <translation>No camera found for the provided camera info.</translation>
    </message>
    <message>
        <source>The camera with the provided info is not available because it has been opened in exclusive mode.</source>
        <translation>The camera with the provided info is not available because it has been opened in exclusive mode.</translation>
    </message>
</context>
<context>
    <name>Plugin::OptiRoster::Internal::CImageDecompressorService</name>
    <message>
        <source>Error while getting compression status from camera.</source>
        <translation>Error while getting compression status from camera.</translation>
    </message>
    <message>
        <source>Invalid compression descriptor size found.</source>
        <translation>Invalid compression descriptor size found.</translation>
    </message>
    <message>
        <source>Unknown compression mode found.</source>
        <translation>Unknown compression mode found.</translation>
    </message>
</context>
</TS>
