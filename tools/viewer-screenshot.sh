#!/usr/bin/env bash
# Makes the README's pictures: docs/viewer.png, the viewer on the built-in simulated world, drawn
# off screen, grabbing from a camera for a few seconds before the picture is taken; and
# docs/viewer-grid.png, four cameras grabbing at once in the grid beside the histogram.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
QT_QPA_PLATFORM=offscreen bash "$root/tools/build.sh" viewer --camera "${1:-Inspection top}" \
    --screenshot "$root/docs/viewer.png" --screenshot-after "${2:-4000}"
echo "Wrote $root/docs/viewer.png"
QT_QPA_PLATFORM=offscreen "${TAVIX_BUILD_DIR:-$root/build}/bin/tavix-viewer" --grid \
    --camera "Inspection top" --camera 40011011 --camera 40011012 --camera "Web inspection" \
    --screenshot "$root/docs/viewer-grid.png" --screenshot-after "${2:-4000}"
echo "Wrote $root/docs/viewer-grid.png"
