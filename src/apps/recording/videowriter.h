#pragma once

#include "recordingwriter.h"

#include <vector>

struct AVCodecContext;
struct AVFormatContext;
struct AVFrame;
struct AVPacket;
struct AVStream;
struct SwsContext;

namespace Recording {

/// Writes the images into one video file with FFmpeg's libraries: FFV1 in Matroska keeps every
/// value as the camera sent it (monochrome and mosaics by their depth, colour as it is), each
/// image at the time it arrived; H.264 in MP4 turns each image into colour for a player, at the
/// nominal rate, cropped to even sides, as the codec needs. The first image fixes the video's
/// shape: a later image of another shape ends the recording with the reason.
class CVideoWriter : public ARecordingWriter
{
public:
    CVideoWriter(ERecordingFormat format, QString file, double nominalRate);
    ~CVideoWriter() override;

    bool write(const CRecordedImage& image, QString& error) override;
    bool finish(QString& error) override;
    QString target() const override { return m_file; }

    /// Empty when a video is written of images of that pixel type, the reason otherwise.
    static QString checkPixelType(Tavix::EPixelType pixelType);

private:
    bool open(const CRecordedImage& first, QString& error);
    bool openCodec(QString& error);
    // The image's pixels into m_pFrame; for H.264 through the scaler.
    bool fillFrame(const CRecordedImage& image, QString& error);
    // Sends a frame (null: the end) to the encoder and writes what comes out.
    bool encode(AVFrame* frame, QString& error);
    void close();

    const ERecordingFormat m_format;
    const QString m_file;
    const double m_nominalRate;
    Tavix::ImageShape m_shape;
    int m_sourceFormat = -1;  // AVPixelFormat of the camera's pixels
    int m_encodedFormat = -1; // AVPixelFormat the encoder takes
    int m_width = 0;
    int m_height = 0;
    int64_t m_frames = 0;
    int64_t m_lastPts = -1;
    bool m_opened = false;
    bool m_headerWritten = false;
    bool m_finished = false;
    AVFormatContext* m_pFormat = nullptr;
    AVCodecContext* m_pCodec = nullptr;
    AVStream* m_pStream = nullptr;
    AVFrame* m_pFrame = nullptr;
    AVPacket* m_pPacket = nullptr;
    SwsContext* m_pScaler = nullptr;
    // Mosaics of 10 to 14 bits, spread over 16 for the scaler, which reads them as 16-bit.
    std::vector<uint16_t> m_widened;
};

} // namespace Recording
