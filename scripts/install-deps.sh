#!/usr/bin/env bash
# Installs the Debian 12 packages the build needs; does nothing when all are present.
set -euo pipefail
pkgs=(build-essential cmake ninja-build pkg-config
      qt6-base-dev qt6-base-dev-tools qt6-svg-dev libqt6sql6-sqlite libgl-dev
      libsqlite3-dev libicu-dev libssl-dev sqlite3
      libqscintilla2-qt6-dev libqscintilla2-qt6-15  # the SQL editor's text component
      clang clang-14 libclang-rt-14-dev  # clang and libFuzzer for fuzz/
      libqt6sql6-psql libpq-dev postgresql-15 postgresql-client-15  # Qt SQL sources of ostra import (PostgreSQL read by COPY); the tests' own PostgreSQL
      dpkg-dev file)  # cpack -G DEB: dpkg-shlibdeps finds the package's dependencies
missing=()
for p in "${pkgs[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO=sudo
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${missing[@]}"
fi
