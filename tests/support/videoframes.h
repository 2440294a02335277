#pragma once

// Reads a video file back frame by frame with FFmpeg's libraries, for tests of what was recorded.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

#include <QFile>
#include <QImage>
#include <QList>
#include <QString>

#include <cstring>

namespace VideoFrames {

// One decoded frame as a picture: one plane of 8 or 16 bits as Grayscale8 or Grayscale16 with the
// stored values, planes of colour as RGB888, anything else (a player's 4:2:0) as its grey.
inline QImage pictureOf(const AVFrame* frame)
{
    const auto format = AVPixelFormat(frame->format);
    const bool grey16 = format == AV_PIX_FMT_GRAY16LE || format == AV_PIX_FMT_GRAY12LE || format == AV_PIX_FMT_GRAY10LE
                        || format == AV_PIX_FMT_GRAY14LE;
    if (format == AV_PIX_FMT_GRAY8 || grey16) {
        QImage picture(frame->width, frame->height, grey16 ? QImage::Format_Grayscale16 : QImage::Format_Grayscale8);
        for (int y = 0; y < frame->height; ++y)
            std::memcpy(picture.scanLine(y), frame->data[0] + y * frame->linesize[0], size_t(frame->width) * (grey16 ? 2 : 1));
        return picture;
    }
    const bool colour = format == AV_PIX_FMT_GBRP || format == AV_PIX_FMT_BGR0 || format == AV_PIX_FMT_BGRA;
    const AVPixelFormat target = colour ? AV_PIX_FMT_RGB24 : AV_PIX_FMT_GRAY8;
    QImage picture(frame->width, frame->height, colour ? QImage::Format_RGB888 : QImage::Format_Grayscale8);
    SwsContext* scaler = sws_getContext(frame->width, frame->height, format, frame->width, frame->height, target,
                                        SWS_BILINEAR | SWS_ACCURATE_RND, nullptr, nullptr, nullptr);
    uint8_t* planes[4] = {picture.bits(), nullptr, nullptr, nullptr};
    const int strides[4] = {int(picture.bytesPerLine()), 0, 0, 0};
    sws_scale(scaler, frame->data, frame->linesize, 0, frame->height, planes, strides);
    sws_freeContext(scaler);
    return picture;
}

// Every frame of the file's video stream, in order; empty with the reason in error when the file
// can't be read to its end.
inline QList<QImage> read(const QString& file, QString& error)
{
    QList<QImage> frames;
    AVFormatContext* format = nullptr;
    const QByteArray name = QFile::encodeName(file);
    if (avformat_open_input(&format, name.constData(), nullptr, nullptr) < 0) {
        error = QStringLiteral("%1 can't be opened").arg(file);
        return frames;
    }
    AVCodecContext* codec = nullptr;
    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    const AVCodec* decoder = nullptr;
    const int stream = avformat_find_stream_info(format, nullptr) >= 0
                           ? av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0)
                           : -1;
    if (stream < 0 || !decoder) {
        error = QStringLiteral("%1 has no video stream").arg(file);
    } else {
        codec = avcodec_alloc_context3(decoder);
        avcodec_parameters_to_context(codec, format->streams[stream]->codecpar);
        if (avcodec_open2(codec, decoder, nullptr) < 0)
            error = QStringLiteral("%1 can't be decoded").arg(file);
    }
    auto receive = [&] {
        while (avcodec_receive_frame(codec, frame) >= 0)
            frames << pictureOf(frame);
    };
    while (error.isEmpty() && av_read_frame(format, packet) >= 0) {
        if (packet->stream_index == stream && avcodec_send_packet(codec, packet) >= 0)
            receive();
        av_packet_unref(packet);
    }
    if (error.isEmpty()) {
        avcodec_send_packet(codec, nullptr);
        receive();
    }
    av_frame_free(&frame);
    av_packet_free(&packet);
    avcodec_free_context(&codec);
    avformat_close_input(&format);
    if (!error.isEmpty())
        frames.clear();
    return frames;
}

} // namespace VideoFrames
