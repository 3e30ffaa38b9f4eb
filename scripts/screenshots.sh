#!/usr/bin/env bash
# Builds and retakes the pictures in docs/screenshots: the Studio with a data
# module, a table's context menu, the object inspector and the splash, the
# create database dialog and the table assistant on the way to a new table, and
# the table designer (General, Checks and Relationships pages) with its
# difference dialog and an error box, and the filter dialog. They are
# drawn on Qt's offscreen platform, so no display is needed.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/build.sh
export QT_QPA_PLATFORM=offscreen OSTRA_SCREENSHOTS="$PWD/docs/screenshots"
build/tests/tst_studioshots >/dev/null
build/tests/tst_tabledesignerprops >/dev/null
ls -1 docs/screenshots
