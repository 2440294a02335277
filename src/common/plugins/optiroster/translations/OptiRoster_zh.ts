<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="zh_CN">
<context>
    <name>Plugin::OptiRoster::Internal::CCamera</name>
    <message>
        <source>Could not get compression descriptor hash.</source>
        <translation>无法获取压缩描述符散列。</translation>
    </message>
    <message>
        <source>Could not get compression descriptor.</source>
        <translation>无法获取压缩描述符。</translation>
    </message>
    <message>
        <source>Could not get compression mode.</source>
        <translation>无法获取压缩模式。</translation>
    </message>
    <message>
        <source>Could not get image size for decompression.</source>
        <translation>无法获取解压的图像大小。</translation>
    </message>
    <message>
        <source>Invalid compression descriptor hash size found.</source>
        <translation>找到无效的压缩描述符散列大小。</translation>
    </message>
    <message>
        <source>Invalid compression descriptor size found.</source>
        <translation>找到无效的压缩描述符大小。</translation>
    </message>
    <message>
        <source>Invalid image size for decompression found.</source>
        <translation>找到解压的无效图像大小。</translation>
    </message>
    <message>
        <source>Unknown compression mode found.</source>
        <translation>找到未知的压缩模式。</translation>
    </message>
</context>
<context>
    <name>Plugin::OptiRoster::Internal::COptiRoster</name>
    <message>
        <source>Failed to find camera. Check the IP configuration.</source>
        <translation>未能发现相机。请检查 IP 配置。</translation>
    </message>
    <message>
        <source>No GigE transport layer found.</source>
        <translation>未找到 GigE 传输层。</translation>
    </message>
    <message>
        <source>No active camera available at the moment.</source>
        <translation>目前没有可用的活动相机。</translation>
    </message>
    <message>
        <source>No camera found for the provided camera info.</source>
        <translation>未找到具有已提供相机信息的相机。</translation>
    </message>
    <message>
        <source>The camera with the provided info is not available because it has been opened in exclusive mode.</source>
        <translation>具有已提供信息的相机不可用，因为其已在独占模式中打开。</translation>
    </message>
</context>
<context>
    <name>Plugin::OptiRoster::Internal::CImageDecompressorService</name>
    <message>
        <source>Error while getting compression status from camera.</source>
        <translation>从相机获取压缩状态时出错。</translation>
    </message>
    <message>
        <source>Invalid compression descriptor size found.</source>
        <translation>找到无效的压缩描述符大小。</translation>
    </message>
    <message>
        <source>Unknown compression mode found.</source>
        <translation>找到未知的压缩模式。</translation>
    </message>
</context>
</TS>
