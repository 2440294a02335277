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

ImageGrabbedInfo::ImageGrabbedInfo(const ImageGrabbedInfo& other)
    : m_grabSucceeded(other.m_grabSucceeded)
    , m_errorCode(other.m_errorCode)
    , m_errorDescription(other.m_errorDescription)
{
    registerMetaType();
}

ImageGrabbedInfo::ImageGrabbedInfo(ImageGrabbedInfo&& other) noexcept
    : m_grabSucceeded(other.m_grabSucceeded)
    , m_errorCode(other.m_errorCode)
    , m_errorDescription(std::move(other.m_errorDescription))
{
    registerMetaType();
}
ImageGrabbedInfo& ImageGrabbedInfo::operator=(const ImageGrabbedInfo& other) = default;
ImageGrabbedInfo& ImageGrabbedInfo::operator=(ImageGrabbedInfo&& other) noexcept = default;
ImageGrabbedInfo::~ImageGrabbedInfo() = default;

} // namespace Plugin::OptiRoster
