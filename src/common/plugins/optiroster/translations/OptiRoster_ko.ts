<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ko_KR">
<context>
    <name>Plugin::OptiRoster::Internal::CCamera</name>
    <message>
        <source>Could not get compression descriptor hash.</source>
        <translation>압축 디스크립터 해시를 가져올 수 없습니다.</translation>
    </message>
    <message>
        <source>Could not get compression descriptor.</source>
        <translation>압축 디스크립터를 가져올 수 없습니다.</translation>
    </message>
    <message>
        <source>Could not get compression mode.</source>
        <translation>압축 모드를 가져올 수 없습니다.</translation>
    </message>
    <message>
        <source>Could not get image size for decompression.</source>
        <translation>압축 풀기에 대한 이미지 크기를 가져올 수 없습니다.</translation>
    </message>
    <message>
        <source>Invalid compression descriptor hash size found.</source>
        <translation>유효하지 않은 압축 디스크립터 해시 크기가 발견되었습니다.</translation>
    </message>
    <message>
        <source>Invalid compression descriptor size found.</source>
        <translation>유효하지 않은 압축 디스크립터 크기가 발견되었습니다.</translation>
    </message>
    <message>
        <source>Invalid image size for decompression found.</source>
        <translation>압축 풀기에 대한 유효하지 않은 이미지 크기가 발견되었습니다.</translation>
    </message>
    <message>
        <source>Unknown compression mode found.</source>
        <translation>알 수 없는 압축 모드가 발견되었습니다.</translation>
    </message>
</context>
<context>
    <name>Plugin::OptiRoster::Internal::COptiRoster</name>
    <message>
        <source>Failed to find camera. Check the IP configuration.</source>
        <translation>카메라를 찾지 못했습니다. IP 구성을 확인하십시오.</translation>
    </message>
    <message>
        <source>No GigE transport layer found.</source>
        <translation>GigE 전송 계층이 없습니다.</translation>
    </message>
    <message>
        <source>No active camera available at the moment.</source>
        <translation>현재 사용 가능한 활성 카메라가 없습니다.</translation>
    </message>
    <message>
        <source>No camera found for the provided camera info.</source>
        <translation>제공된 카메라 정보에 대한 카메라를 찾을 수 없습니다.</translation>
    </message>
    <message>
        <source>The camera with the provided info is not available because it has been opened in exclusive mode.</source>
        <translation>제공된 정보가 있는 카메라는 단독 모드로 열렸으므로 사용할 수 없습니다.</translation>
    </message>
</context>
<context>
    <name>Plugin::OptiRoster::Internal::CImageDecompressorService</name>
    <message>
        <source>Error while getting compression status from camera.</source>
        <translation>카메라에서 압축 상태를 가져오는 동안 오류가 발생했습니다.</translation>
    </message>
    <message>
        <source>Invalid compression descriptor size found.</source>
        <translation>유효하지 않은 압축 디스크립터 크기가 발견되었습니다.</translation>
    </message>
    <message>
        <source>Unknown compression mode found.</source>
        <translation>알 수 없는 압축 모드가 발견되었습니다.</translation>
    </message>
</context>
</TS>
