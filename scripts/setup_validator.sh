#!/usr/bin/env bash
# Installs the glTF validator (npm package gltf-validator) into .tools/ for the
# glTF export test; without node the test skips itself. Idempotent.
set -euo pipefail
cd "$(dirname "$0")/.."
command -v npm >/dev/null || { echo "npm not found: the glTF validator test will be skipped"; exit 0; }
[ -f .tools/node_modules/gltf-validator/package.json ] && exit 0
mkdir -p .tools
npm install --prefix .tools --no-audit --no-fund --silent gltf-validator@2.0.0-dev.3.10 ||
  echo "setup_validator.sh: npm could not install gltf-validator; the validator test will be skipped"
