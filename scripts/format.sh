#!/usr/bin/env bash
# Formats every C++ file of the project; with --check only reports what differs, and fails then.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

mode=(-i)
[ "${1:-}" != --check ] || mode=(--dry-run --Werror)
git ls-files -z -- '*.h' '*.cpp' | xargs -0 -r clang-format "${mode[@]}"
