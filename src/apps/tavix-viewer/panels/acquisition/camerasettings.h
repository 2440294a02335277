#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QPair>
#include <QString>
#include <QVector>

namespace ParameterCollection {
class CParameterCollection;
}

namespace Viewer {

// The settings of a camera as a text file: a header that names the camera and its model, then
// one line for each feature that can be written, its name, a tab and its value, in the order the
// camera lists its features (its categories' order, made so that each feature can be written
// after those before it). A backslash, tab or line break in a value is written as \\, \t or \n.
//
//     # Tavix Viewer camera settings
//     # Vendor: Vorlan
//     # Model: OVK-2310-40gm
//     # Camera: Inspection top (40011013)
//     # Saved: 2024-05-02T14:03:11
//     PixelFormat	Mono8
//     Width	1920
class CCameraSettings
{
public:
    using Value = QPair<QString, QString>;

    // What the load of settings onto a camera did.
    struct CReport
    {
        int written = 0;
        int unchanged = 0;
        QVector<Value> refused; // feature and the camera's reason
        QString summary() const;
        QString details() const;
    };

    // The values of the camera's map "@CameraDevice" that a person sets: those it can write now,
    // but for the commands, the user sets and the camera's own name (DeviceUserID), which stay
    // with each camera.
    static CCameraSettings read(ParameterCollection::CParameterCollection& collection);
    // Reads a file's text; false, with the reason and the line, for a text that is none.
    static bool parse(const QByteArray& text, CCameraSettings& settings, QString& error);

    QByteArray toText(const QDateTime& saved) const;
    // Empty when the settings are for the camera of that vendor and model; else why they don't fit.
    QString mismatch(const QString& vendor, const QString& model) const;
    // Writes each value in its order, and once more those that failed, since one may depend on
    // another written later; a value the camera has already is left alone.
    CReport applyTo(ParameterCollection::CParameterCollection& collection) const;

    QString vendor;
    QString model;
    QString camera;
    QVector<Value> values;
};

} // namespace Viewer
