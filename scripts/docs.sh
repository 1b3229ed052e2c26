#!/usr/bin/env bash
# Draws the pictures whose sources have changed and builds the manual into build/docs/html.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/common.sh

say "Drawing what has changed"
python3 -B docs/manual/render_diagrams.py
python3 -B docs/manual/draw_messages.py

# manual SETTING...: Doxygen with further settings.
manual() {
  {
    cat docs/manual/Doxyfile
    printf '%s\n' "$@"
  } | doxygen - || fail "the manual has the faults above"
}

say "Building the manual"
version=$(sed -n 's/^ *VERSION \([0-9.]*\)$/\1/p' CMakeLists.txt)
rm -rf build/docs
python3 -B docs/manual/stage_pages.py build/docs/pages
# The C headers are complete: every parameter, every result. The C++ one leaves them to it.
manual "INPUT = src/interface/zor_interface.h src/interface/zor_result.h src/interface/zor_loader.h" "WARN_NO_PARAMDOC = YES" "HTML_OUTPUT = checked"
manual "PROJECT_NUMBER = $version"
python3 -B docs/manual/check_html.py build/docs/html
say "The manual: build/docs/html/index.html"
