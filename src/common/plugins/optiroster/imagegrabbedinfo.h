#pragma once

#include <QMetaType>
#include <QString>

namespace Plugin::OptiRoster {

// How one grab ended, without the image.
class ImageGrabbedInfo
{
public:
    ImageGrabbedInfo();
    ImageGrabbedInfo(bool grabSucceeded, unsigned long errorCode, const QString& errorDescription);
    ImageGrabbedInfo(const ImageGrabbedInfo& other);
    ImageGrabbedInfo(ImageGrabbedInfo&& other) noexcept;
    ImageGrabbedInfo& operator=(const ImageGrabbedInfo& other);
    ImageGrabbedInfo& operator=(ImageGrabbedInfo&& other) noexcept;
    ~ImageGrabbedInfo();

    bool grabSucceeded() const { return m_grabSucceeded; }
    unsigned long getErrorCode() const { return m_errorCode; }
    QString getErrorDescription() { return m_errorDescription; }

    void setGrabSucceeded(bool grabSucceeded) { m_grabSucceeded = grabSucceeded; }
    void setErrorCode(unsigned long errorCode) { m_errorCode = errorCode; }
    void setErrorDescription(const QString& errorDescription) { m_errorDescription = errorDescription; }

private:
    bool m_grabSucceeded = false;
    unsigned long m_errorCode = 0;
    QString m_errorDescription;
};

} // namespace Plugin::OptiRoster

Q_DECLARE_METATYPE(Plugin::OptiRoster::ImageGrabbedInfo)
