#pragma once

#include "heldcameras.h"

#include <clientservices.h>

namespace Viewer {

/// What a panel of the viewer works with: the roster's services, and the viewer's own record of
/// the cameras it holds in exclusive use (null without the device panel, which keeps it).
struct CViewerServices : CClientServices
{
    QSharedPointer<CHeldCameras> heldCameras;

    static CViewerServices find(const QSharedPointer<Core::Plugin::IPluginInitializer>& registry)
    {
        CViewerServices services;
        static_cast<CClientServices&>(services) = CClientServices::find(registry);
        services.heldCameras = findService<CHeldCameras>(registry);
        return services;
    }
};

} // namespace Viewer
