#pragma once

#include "orientation.h"
#include "recordedimage.h"
#include "recordingformat.h"

#include <QString>

#include <memory>

namespace Recording {

/// Writes the images of one recording, one after the other, on the recorder's thread. The first
/// image fixes what a video holds; a sequence takes each image by its own shape.
class ARecordingWriter
{
public:
    virtual ~ARecordingWriter();

    /// False with the reason in error when the image can't be written; the recording ends then.
    virtual bool write(const CRecordedImage& image, QString& error) = 0;
    /// Finishes the file (a video's index and trailer); false with the reason in error.
    virtual bool finish(QString& error);
    /// Where the recording goes: the folder of a sequence, the file of a video.
    virtual QString target() const = 0;

    /// The writer of a format. target is the folder of a sequence or the file of a video; baseName
    /// starts a sequence's file names. nominalRate tells a video the rate to expect, in images a
    /// second (0: unknown); each image keeps its own time all the same.
    static std::unique_ptr<ARecordingWriter> create(ERecordingFormat format, const QString& target,
                                                    const QString& baseName, double nominalRate);
    /// Empty when the format can hold images of that pixel type, the reason otherwise.
    static QString checkPixelType(ERecordingFormat format, Tavix::EPixelType pixelType);
    /// Makes the folder of a sequence or the folder of a video's file, and checks that a file can
    /// be written there; empty when it can, the reason otherwise.
    static QString prepareTarget(ERecordingFormat format, const QString& target);
};

/// The pixels of an image turned by an orientation, or as they are: shape and pixels of the
/// image to write, in a buffer that keeps its size from one image to the next.
CRecordedImage orientedImage(const CRecordedImage& image, const COrientation& orientation, std::vector<unsigned char>& buffer);

} // namespace Recording
