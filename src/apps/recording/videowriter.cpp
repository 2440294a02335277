#include "videowriter.h"

#include <snapshotwriter.h>

#include <QDir>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

#include <cmath>
#include <mutex>

namespace Recording {

namespace {

QString avError(int code)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return QString::fromUtf8(text);
}

// The FFmpeg layout of the camera's pixels; AV_PIX_FMT_NONE for one a video isn't made of.
AVPixelFormat sourceFormatOf(Tavix::EPixelType pixelType)
{
    using namespace Tavix;
    switch (pixelType) {
    case PixelType_Mono8: return AV_PIX_FMT_GRAY8;
    case PixelType_Mono10: return AV_PIX_FMT_GRAY10LE;
    case PixelType_Mono12: return AV_PIX_FMT_GRAY12LE;
    case PixelType_Mono14: return AV_PIX_FMT_GRAY14LE;
    case PixelType_Mono16:
    case PixelType_Coord3D_C16: return AV_PIX_FMT_GRAY16LE;
    case PixelType_RGB8: return AV_PIX_FMT_RGB24;
    case PixelType_BGR8: return AV_PIX_FMT_BGR24;
    case PixelType_RGBA8: return AV_PIX_FMT_RGBA;
    case PixelType_BGRA8: return AV_PIX_FMT_BGRA;
    default: break;
    }
    const bool eightBits = GetBitsPerPixel(pixelType) == 8;
    switch (GetBayerOrder(pixelType)) {
    case BayerOrder_RG: return eightBits ? AV_PIX_FMT_BAYER_RGGB8 : AV_PIX_FMT_BAYER_RGGB16LE;
    case BayerOrder_GR: return eightBits ? AV_PIX_FMT_BAYER_GRBG8 : AV_PIX_FMT_BAYER_GRBG16LE;
    case BayerOrder_GB: return eightBits ? AV_PIX_FMT_BAYER_GBRG8 : AV_PIX_FMT_BAYER_GBRG16LE;
    case BayerOrder_BG: return eightBits ? AV_PIX_FMT_BAYER_BGGR8 : AV_PIX_FMT_BAYER_BGGR16LE;
    case BayerOrder_None: break;
    }
    return AV_PIX_FMT_NONE;
}

bool isBayer(AVPixelFormat format)
{
    return av_pix_fmt_desc_get(format)->flags & AV_PIX_FMT_FLAG_BAYER;
}

bool encoderTakes(const AVCodec* codec, AVPixelFormat format)
{
    for (const AVPixelFormat* f = codec->pix_fmts; f && *f != AV_PIX_FMT_NONE; ++f) {
        if (*f == format)
            return true;
    }
    return false;
}

// How FFV1 reads the camera's bytes to keep every value as it is: monochrome and mosaics as one
// plane of their depth (a plane of 16 bits where FFV1 has none of that depth, the values
// unchanged), colour as it is, to be put in the order FFV1 takes.
AVPixelFormat losslessSourceOf(const AVCodec* codec, AVPixelFormat source)
{
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(source);
    if (descriptor->nb_components > 1 && !isBayer(source))
        return source;
    const bool eightBits = av_get_bits_per_pixel(descriptor) == 8;
    if (!isBayer(source) && encoderTakes(codec, source))
        return source;
    return eightBits ? AV_PIX_FMT_GRAY8 : AV_PIX_FMT_GRAY16LE;
}

// What FFV1 stores of that.
AVPixelFormat losslessFormatOf(AVPixelFormat source)
{
    switch (source) {
    case AV_PIX_FMT_RGB24:
    case AV_PIX_FMT_BGR24: return AV_PIX_FMT_BGR0;
    case AV_PIX_FMT_RGBA:
    case AV_PIX_FMT_BGRA: return AV_PIX_FMT_BGRA;
    default: return source;
    }
}

} // namespace

CVideoWriter::CVideoWriter(ERecordingFormat format, QString file, double nominalRate)
    : m_format(format)
    , m_file(std::move(file))
    , m_nominalRate(nominalRate > 0 ? nominalRate : 30.0)
{
}

CVideoWriter::~CVideoWriter()
{
    QString ignored;
    if (m_headerWritten && !m_finished)
        finish(ignored);
    close();
}

QString CVideoWriter::checkPixelType(Tavix::EPixelType pixelType)
{
    if (sourceFormatOf(pixelType) != AV_PIX_FMT_NONE)
        return {};
    return QStringLiteral("Videos are made of monochrome and Bayer images of 8 to 16 bits and of RGB and BGR images; "
                          "the images are %1 (record them as raw).")
        .arg(CSnapshotWriter::pixelTypeText(pixelType));
}

bool CVideoWriter::write(const CRecordedImage& image, QString& error)
{
    if (!m_opened && !(m_opened = open(image, error)))
        return false;
    const Tavix::ImageShape& shape = image.shape;
    if (shape.width != m_shape.width || shape.height != m_shape.height || shape.pixelType != m_shape.pixelType) {
        error = QStringLiteral("The images changed from %1 x %2 %3 to %4 x %5 %6; a video holds images of one shape.")
                    .arg(m_shape.width).arg(m_shape.height).arg(CSnapshotWriter::pixelTypeText(m_shape.pixelType))
                    .arg(shape.width).arg(shape.height).arg(CSnapshotWriter::pixelTypeText(shape.pixelType));
        return false;
    }
    if (!fillFrame(image, error))
        return false;
    if (m_format == ERecordingFormat::H264) {
        // Players want a steady rate: one image after the other at the nominal rate.
        m_pFrame->pts = m_frames;
    } else {
        // Each image at its own time; two in one tick of the container's clock get the next tick.
        int64_t pts = av_rescale_q(image.arrivalUs, AVRational{1, 1000000}, m_pCodec->time_base);
        if (pts <= m_lastPts)
            pts = m_lastPts + 1;
        m_pFrame->pts = pts;
    }
    m_lastPts = m_pFrame->pts;
    ++m_frames;
    return encode(m_pFrame, error);
}

bool CVideoWriter::open(const CRecordedImage& first, QString& error)
{
    // The libraries' own chatter (the encoder's settings and summary) is not for a user; their
    // errors come back through the calls' results.
    static std::once_flag quiet;
    std::call_once(quiet, [] { av_log_set_level(AV_LOG_ERROR); });
    m_shape = first.shape;
    const AVPixelFormat source = sourceFormatOf(m_shape.pixelType);
    if (source == AV_PIX_FMT_NONE) {
        error = checkPixelType(m_shape.pixelType);
        return false;
    }
    m_sourceFormat = source;
    m_width = int(m_shape.width);
    m_height = int(m_shape.height);
    if (m_format == ERecordingFormat::H264) {
        // 4:2:0 colour needs even sides: the last column or row of an odd image is left out.
        m_width &= ~1;
        m_height &= ~1;
        if (m_width == 0 || m_height == 0) {
            error = QStringLiteral("An image of %1 x %2 is too small for an H.264 video.").arg(m_shape.width).arg(m_shape.height);
            return false;
        }
    }
    const QByteArray file = QFile::encodeName(m_file);
    const char* container = m_format == ERecordingFormat::H264 ? "mp4" : "matroska";
    int result = avformat_alloc_output_context2(&m_pFormat, nullptr, container, file.constData());
    if (result < 0 || !m_pFormat) {
        error = QStringLiteral("No %1 file can be made: %2").arg(QString::fromLatin1(container), avError(result));
        return false;
    }
    if (!openCodec(error))
        return false;
    m_pStream = avformat_new_stream(m_pFormat, nullptr);
    if (!m_pStream || avcodec_parameters_from_context(m_pStream->codecpar, m_pCodec) < 0) {
        error = QStringLiteral("The video stream can't be set up.");
        return false;
    }
    m_pStream->time_base = m_pCodec->time_base;
    if ((result = avio_open(&m_pFormat->pb, file.constData(), AVIO_FLAG_WRITE)) < 0) {
        error = QStringLiteral("%1 can't be written: %2").arg(QDir::toNativeSeparators(m_file), avError(result));
        return false;
    }
    if ((result = avformat_write_header(m_pFormat, nullptr)) < 0) {
        error = QStringLiteral("The header of %1 can't be written: %2").arg(QDir::toNativeSeparators(m_file), avError(result));
        return false;
    }
    m_headerWritten = true;
    m_pFrame = av_frame_alloc();
    m_pPacket = av_packet_alloc();
    if (!m_pFrame || !m_pPacket) {
        error = QStringLiteral("Out of memory for the video's frames.");
        return false;
    }
    m_pFrame->format = m_encodedFormat;
    m_pFrame->width = m_width;
    m_pFrame->height = m_height;
    if ((result = av_frame_get_buffer(m_pFrame, 0)) < 0) {
        error = QStringLiteral("Out of memory for the video's frames: %1").arg(avError(result));
        return false;
    }
    if (m_encodedFormat != m_sourceFormat) {
        m_pScaler = sws_getContext(m_width, m_height, AVPixelFormat(m_sourceFormat), m_width, m_height,
                                   AVPixelFormat(m_encodedFormat), SWS_BILINEAR | SWS_ACCURATE_RND | SWS_BITEXACT,
                                   nullptr, nullptr, nullptr);
        if (!m_pScaler) {
            error = QStringLiteral("%1 images can't be turned into video frames.").arg(CSnapshotWriter::pixelTypeText(m_shape.pixelType));
            return false;
        }
    }
    return true;
}

bool CVideoWriter::openCodec(QString& error)
{
    const bool h264 = m_format == ERecordingFormat::H264;
    const AVCodec* codec = h264 ? avcodec_find_encoder_by_name("libx264") : avcodec_find_encoder(AV_CODEC_ID_FFV1);
    if (!codec) {
        error = h264 ? QStringLiteral("This FFmpeg has no H.264 encoder (libx264).") : QStringLiteral("This FFmpeg has no FFV1 encoder.");
        return false;
    }
    m_pCodec = avcodec_alloc_context3(codec);
    if (!m_pCodec) {
        error = QStringLiteral("Out of memory for the encoder.");
        return false;
    }
    if (!h264)
        m_sourceFormat = losslessSourceOf(codec, AVPixelFormat(m_sourceFormat));
    m_encodedFormat = h264 ? AV_PIX_FMT_YUV420P : losslessFormatOf(AVPixelFormat(m_sourceFormat));
    m_pCodec->width = m_width;
    m_pCodec->height = m_height;
    m_pCodec->pix_fmt = AVPixelFormat(m_encodedFormat);
    const int rate = std::max(1, int(std::lround(m_nominalRate)));
    m_pCodec->framerate = AVRational{rate, 1};
    // H.264: one tick an image; FFV1: each image at its time, in microseconds.
    m_pCodec->time_base = h264 ? AVRational{1, rate} : AVRational{1, 1000000};
    m_pCodec->thread_count = 2;
    if (h264) {
        m_pCodec->gop_size = std::max(1, rate * 2);
        av_opt_set(m_pCodec->priv_data, "preset", "veryfast", 0);
        av_opt_set(m_pCodec->priv_data, "crf", "20", 0);
    } else {
        // Version 3 codes slices in parallel, on as many threads as the processor has cores (0),
        // and checks each with a CRC.
        m_pCodec->level = 3;
        m_pCodec->thread_type = FF_THREAD_SLICE;
        m_pCodec->thread_count = 0;
        av_opt_set_int(m_pCodec->priv_data, "slices", 16, 0);
        av_opt_set_int(m_pCodec->priv_data, "slicecrc", 1, 0);
    }
    if (m_pFormat->oformat->flags & AVFMT_GLOBALHEADER)
        m_pCodec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    const int result = avcodec_open2(m_pCodec, codec, nullptr);
    if (result < 0) {
        error = QStringLiteral("The %1 encoder can't be opened: %2").arg(QString::fromLatin1(codec->name), avError(result));
        return false;
    }
    return true;
}

bool CVideoWriter::fillFrame(const CRecordedImage& image, QString& error)
{
    const int result = av_frame_make_writable(m_pFrame);
    if (result < 0) {
        error = QStringLiteral("Out of memory for the video's frames: %1").arg(avError(result));
        return false;
    }
    const Tavix::ImageShape& shape = image.shape;
    const uint8_t* pixels = image.pixels;
    int stride = int(shape.rowStride());
    if (!m_pScaler) {
        // Value for value: each row of the image into the frame's plane, never beyond a row's pixels.
        av_image_copy_plane(m_pFrame->data[0], m_pFrame->linesize[0], pixels, stride, int(shape.rowBytes()), int(shape.height));
        return true;
    }
    const uint32_t depth = Tavix::GetPixelColorDepth(shape.pixelType);
    if (isBayer(AVPixelFormat(m_sourceFormat)) && depth > 8 && depth < 16) {
        // The scaler reads a 16-bit mosaic by all 16 bits: spread a 12-bit one over them.
        m_widened.resize(size_t(m_width) * size_t(m_height));
        for (int y = 0; y < m_height; ++y) {
            const auto* in = reinterpret_cast<const uint16_t*>(pixels + size_t(y) * shape.rowStride());
            uint16_t* out = m_widened.data() + size_t(y) * size_t(m_width);
            for (int x = 0; x < m_width; ++x)
                out[x] = uint16_t(std::min<uint32_t>(in[x], (1u << depth) - 1) << (16 - depth));
        }
        pixels = reinterpret_cast<const uint8_t*>(m_widened.data());
        stride = m_width * 2;
    }
    const uint8_t* planes[4] = {pixels, nullptr, nullptr, nullptr};
    const int strides[4] = {stride, 0, 0, 0};
    sws_scale(m_pScaler, planes, strides, 0, m_height, m_pFrame->data, m_pFrame->linesize);
    return true;
}

bool CVideoWriter::encode(AVFrame* frame, QString& error)
{
    int result = avcodec_send_frame(m_pCodec, frame);
    if (result < 0) {
        error = QStringLiteral("The encoder refused an image: %1").arg(avError(result));
        return false;
    }
    while ((result = avcodec_receive_packet(m_pCodec, m_pPacket)) >= 0) {
        // Each image lasts a tick at least, the last one too: a player shows it.
        if (m_pPacket->duration == 0 && m_format == ERecordingFormat::H264)
            m_pPacket->duration = 1;
        av_packet_rescale_ts(m_pPacket, m_pCodec->time_base, m_pStream->time_base);
        m_pPacket->stream_index = m_pStream->index;
        result = av_interleaved_write_frame(m_pFormat, m_pPacket);
        if (result < 0) {
            error = QStringLiteral("%1 can't be written: %2").arg(QDir::toNativeSeparators(m_file), avError(result));
            return false;
        }
    }
    if (result != AVERROR(EAGAIN) && result != AVERROR_EOF) {
        error = QStringLiteral("The encoder failed: %1").arg(avError(result));
        return false;
    }
    return true;
}

bool CVideoWriter::finish(QString& error)
{
    if (m_finished || !m_headerWritten)
        return true;
    m_finished = true;
    // What the encoder still holds, then the container's index.
    bool done = encode(nullptr, error);
    const int result = av_write_trailer(m_pFormat);
    if (result < 0 && done) {
        error = QStringLiteral("%1 can't be finished: %2").arg(QDir::toNativeSeparators(m_file), avError(result));
        done = false;
    }
    close();
    return done;
}

void CVideoWriter::close()
{
    sws_freeContext(m_pScaler);
    m_pScaler = nullptr;
    av_frame_free(&m_pFrame);
    av_packet_free(&m_pPacket);
    avcodec_free_context(&m_pCodec);
    if (m_pFormat) {
        if (m_pFormat->pb)
            avio_closep(&m_pFormat->pb);
        avformat_free_context(m_pFormat);
        m_pFormat = nullptr;
    }
    m_pStream = nullptr;
}

} // namespace Recording
