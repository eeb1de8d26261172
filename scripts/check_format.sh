#!/usr/bin/env bash
# Fails when a tracked C/C++ file differs from what the project's .clang-format
# makes of it; `git ls-files '*.c' '*.cpp' '*.h' | xargs clang-format -i` fixes it.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup_debian.sh
git ls-files -z '*.c' '*.cpp' '*.h' | xargs -0 clang-format --dry-run -Werror
echo "format check passed"
