#!/usr/bin/env bash
# Installs the Debian 12 packages that building, testing and running the store need, where
# they are missing: clang with its runtime libraries builds the fuzz target, llvm reports its
# coverage, doxygen makes the API reference (the target qzlogger_doc), python3 runs the tests'
# reader of exported files, Qt's SVG module and a font let qzlogger plot draw its charts without a
# display. Safe to run again.
set -euo pipefail

packages=(
  build-essential cmake pkg-config
  qtbase5-dev qtbase5-dev-tools libqt5svg5-dev fonts-dejavu-core
  liblog4cxx-dev libsqlite3-dev sqlite3
  libgtest-dev googletest libbenchmark-dev
  dbus dbus-daemon tzdata
  clang libclang-rt-14-dev llvm
  doxygen
  python3
)

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$package")
  fi
done

if [ ${#missing[@]} -gt 0 ]; then
  sudo=""
  if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
  echo "installing: ${missing[*]}"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
