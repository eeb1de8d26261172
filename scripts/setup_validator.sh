#!/usr/bin/env bash
# Installs the glTF validator (npm package gltf-validator) into .tools/ for the
# glTF export test, which skips itself with a message where node or the
# package is missing. Idempotent. On a developer machine a failed install is
# only reported; under CI (CI=true) it fails the run, so that CI never passes
# without having validated the files.
set -euo pipefail
cd "$(dirname "$0")/.."
[ -f .tools/node_modules/gltf-validator/package.json ] && exit 0
if command -v npm >/dev/null; then
  mkdir -p .tools
  npm install --prefix .tools --no-audit --no-fund --silent gltf-validator@2.0.0-dev.3.10 && exit 0
fi
echo "setup_validator.sh: gltf-validator could not be installed (node and npm needed)" >&2
[ "${CI:-}" = true ] && exit 1
echo "setup_validator.sh: the glTF validator test will be skipped" >&2
