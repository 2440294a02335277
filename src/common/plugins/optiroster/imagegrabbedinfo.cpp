#include "imagegrabbedinfo.h"

namespace Plugin::OptiRoster {

namespace {
void registerMetaType()
{
    static const int registered = qRegisterMetaType<ImageGrabbedInfo>("ImageGrabbedInfo");
    Q_UNUSED(registered)
}
} // namespace

ImageGrabbedInfo::ImageGrabbedInfo()
{
    registerMetaType();
}

ImageGrabbedInfo::ImageGrabbedInfo(bool grabSucceeded, unsigned long errorCode, const QString& errorDescription)
    : m_grabSucceeded(grabSucceeded)
    , m_errorCode(errorCode)
    , m_errorDescription(errorDescription)
{
    registerMetaType();
}

ImageGrabbedInfo::ImageGrabbedInfo(const ImageGrabbedInfo& other) = default;
ImageGrabbedInfo::ImageGrabbedInfo(ImageGrabbedInfo&& other) noexcept = default;
ImageGrabbedInfo& ImageGrabbedInfo::operator=(const ImageGrabbedInfo& other) = default;
ImageGrabbedInfo& ImageGrabbedInfo::operator=(ImageGrabbedInfo&& other) noexcept = default;
ImageGrabbedInfo::~ImageGrabbedInfo() = default;

} // namespace Plugin::OptiRoster
