#!/usr/bin/env bash
# Installs what is missing, builds, and runs the main job: Ostra Studio on a
# sample data module when there is a display, the headless demo otherwise.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
bash scripts/build.sh
if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
  module=$(bash scripts/sample.sh)
  exec build/studio/ostra-studio "$module" "$@"
fi
exec bash scripts/demo.sh
