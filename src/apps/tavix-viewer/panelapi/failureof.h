#pragma once

#include <QString>

#include <functional>

namespace Viewer {

/// Runs a panel's camera work and gives the reason of whatever it threw: a service's exception,
/// the SDK's or any other; empty when it threw nothing. Work on a panel's worker ends here, so
/// that a failure is told to the person instead of thrown through the worker.
QString failureOf(const std::function<void()>& work);

} // namespace Viewer
