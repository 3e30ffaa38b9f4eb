#!/usr/bin/env bash
# Installs what is missing, builds, and runs the main job: the headless engine demo.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
bash scripts/build.sh
exec bash scripts/demo.sh
