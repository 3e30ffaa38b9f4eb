#!/usr/bin/env bash
# Builds and retakes the pictures in docs/screenshots: the Studio with a data
# module, a table's context menu, the object inspector, the Data view and the
# splash, the create database dialog and the table assistant on the way to a
# new table, the table designer (General, Checks, Relationships and Indexes
# pages) with its difference dialog and an error box, the index definition
# dialog on each kind of index, the filter dialog, the SQL editor, and the two
# import forms (a table converted with progress, a query's SQL). They are
# drawn on Qt's offscreen platform, so no display is needed.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/build.sh
export QT_QPA_PLATFORM=offscreen OSTRA_SCREENSHOTS="$PWD/docs/screenshots"
build/tests/tst_studioshots >/dev/null
build/tests/tst_tabledesignerprops >/dev/null
build/tests/tst_importforms >/dev/null
build/tests/tst_indexpage screenshots >/dev/null
build/tests/tst_sqledit screenshot >/dev/null
ls -1 docs/screenshots
