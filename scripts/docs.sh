#!/usr/bin/env bash
# Draws the pictures whose sources have changed and builds the manual into build/docs/html, and the
# package's into build/docs/package/html.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/common.sh

say "Drawing what has changed"
python3 -B docs/manual/render_diagrams.py
python3 -B docs/manual/draw_messages.py

say "Building the manual"
rm -rf build/docs
python3 -B docs/manual/build_manual.py build/docs
say "Building the package's manual, of the pages for users"
python3 -B docs/manual/build_manual.py build/docs/package --package
say "The manual: build/docs/html/index.html"
