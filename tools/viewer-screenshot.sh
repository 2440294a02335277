#!/usr/bin/env bash
# Makes docs/viewer.png: the viewer on the built-in simulated world, drawn off screen, grabbing
# from a camera for a few seconds before the picture is taken.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
QT_QPA_PLATFORM=offscreen bash "$root/tools/build.sh" viewer --camera "${1:-Inspection top}" \
    --screenshot "$root/docs/viewer.png" --screenshot-after "${2:-4000}"
echo "Wrote $root/docs/viewer.png"
