<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ja_JP">
<context>
    <name>Plugin::OptiRoster::Internal::CCamera</name>
    <message>
        <source>Could not get compression descriptor hash.</source>
        <translation>圧縮記述子ハッシュを取得できませんでした。</translation>
    </message>
    <message>
        <source>Could not get compression descriptor.</source>
        <translation>圧縮記述子を取得できませんでした。</translation>
    </message>
    <message>
        <source>Could not get compression mode.</source>
        <translation>圧縮モードを取得できませんでした。</translation>
    </message>
    <message>
        <source>Could not get image size for decompression.</source>
        <translation>展開対象の画像サイズを取得できませんでした。</translation>
    </message>
    <message>
        <source>Invalid compression descriptor hash size found.</source>
        <translation>無効な圧縮記述子ハッシュサイズが見つかりました。</translation>
    </message>
    <message>
        <source>Invalid compression descriptor size found.</source>
        <translation>無効な圧縮記述子サイズが見つかりました。</translation>
    </message>
    <message>
        <source>Invalid image size for decompression found.</source>
        <translation>無効な展開対象の画像サイズが見つかりました。</translation>
    </message>
    <message>
        <source>Unknown compression mode found.</source>
        <translation>不明な圧縮モードが見つかりました。</translation>
    </message>
</context>
<context>
    <name>Plugin::OptiRoster::Internal::COptiRoster</name>
    <message>
        <source>Failed to find camera. Check the IP configuration.</source>
        <translation>カメラが見つかりませんでした。IP設定を確認します。</translation>
    </message>
    <message>
        <source>No GigE transport layer found.</source>
        <translation>GigEトランスポート層が見つかりません。</translation>
    </message>
    <message>
        <source>No active camera available at the moment.</source>
        <translation>現時点では、有効なカメラはありません。</translation>
    </message>
    <message>
        <source>No camera found for the provided camera info.</source>
        <translation>提供されているカメラ情報のカメラが見つかりませんでした。</translation>
    </message>
    <message>
        <source>The camera with the provided info is not available because it has been opened in exclusive mode.</source>
        <translation>提供されている情報を有するカメラは、排他モードで開かれているため使用できません。</translation>
    </message>
</context>
<context>
    <name>Plugin::OptiRoster::Internal::CImageDecompressorService</name>
    <message>
        <source>Error while getting compression status from camera.</source>
        <translation>カメラから圧縮ステータスを取得中にエラーが発生しました。</translation>
    </message>
    <message>
        <source>Invalid compression descriptor size found.</source>
        <translation>無効な圧縮記述子サイズが見つかりました。</translation>
    </message>
    <message>
        <source>Unknown compression mode found.</source>
        <translation>不明な圧縮モードが見つかりました。</translation>
    </message>
</context>
</TS>
