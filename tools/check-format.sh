#!/usr/bin/env bash
# Fails when a tracked C or C++ file does not follow .clang-format.
set -euo pipefail
cd "$(dirname "$0")/.."
git ls-files -z '*.h' '*.hpp' '*.c' '*.cpp' | xargs -0 -r clang-format --dry-run --Werror
echo "format: clean"
