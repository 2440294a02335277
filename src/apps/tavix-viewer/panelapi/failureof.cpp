#include "failureof.h"

#include <core/exception/exceptions.h>

#include <tavix/genicam.h>

#include <exception>

namespace Viewer {

QString failureOf(const std::function<void()>& work)
{
    try {
        work();
    } catch (const Core::Exception::BaseException& e) {
        return e.getMessage();
    } catch (const GenICam::GenericException& e) {
        return QString::fromUtf8(e.GetDescription());
    } catch (const std::exception& e) {
        return QString::fromUtf8(e.what());
    }
    return {};
}

} // namespace Viewer
