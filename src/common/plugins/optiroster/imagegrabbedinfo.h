#pragma once

#include <QMetaType>
#include <QString>

namespace Plugin::OptiRoster {

/// How one grab ended, without the image.
class ImageGrabbedInfo
{
public:
    ImageGrabbedInfo();
    /// The outcome of one image: whether it succeeded, and the SDK's error code and text if not.
    ImageGrabbedInfo(bool grabSucceeded, unsigned long errorCode, const QString& errorDescription);
    ///@{
    /// A value type: copied, moved and assigned whole.
    ImageGrabbedInfo(const ImageGrabbedInfo& other);
    ImageGrabbedInfo(ImageGrabbedInfo&& other) noexcept;
    ImageGrabbedInfo& operator=(const ImageGrabbedInfo& other);
    ImageGrabbedInfo& operator=(ImageGrabbedInfo&& other) noexcept;
    ~ImageGrabbedInfo();
    ///@}

    /// Whether the image arrived whole.
    bool grabSucceeded() const { return m_grabSucceeded; }
    /// The SDK's error code of a failed image; 0 otherwise.
    unsigned long getErrorCode() const { return m_errorCode; }
    /// The SDK's description of the failure; empty otherwise.
    QString getErrorDescription() { return m_errorDescription; }

    ///@{
    /// Sets one field.
    void setGrabSucceeded(bool grabSucceeded) { m_grabSucceeded = grabSucceeded; }
    void setErrorCode(unsigned long errorCode) { m_errorCode = errorCode; }
    void setErrorDescription(const QString& errorDescription) { m_errorDescription = errorDescription; }
    ///@}

private:
    bool m_grabSucceeded = false;
    unsigned long m_errorCode = 0;
    QString m_errorDescription;
};

} // namespace Plugin::OptiRoster

Q_DECLARE_METATYPE(Plugin::OptiRoster::ImageGrabbedInfo)
