#!/usr/bin/env bash
# Makes the package for developers, its symbols, the selftest kit and their checksums in dist/.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/common.sh

build windows zor_package_files
say "Packaging"
PYTHONDONTWRITEBYTECODE=1 python3 packaging/make_package.py --build build/windows --output dist
