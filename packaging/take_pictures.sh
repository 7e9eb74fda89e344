#!/usr/bin/env bash
# Takes the README's pictures from the real program, in a private root: ./build_app.sh pictures
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
mkdir -p docs/pictures
WINGBELL_OUTPUT=$PWD/docs/pictures WINGBELL_SCREEN=900x840x24 tests/desktop/in_private_root.sh build \
    /usr/bin/python3 /tests/desktop/take_pictures.py
PYTHONDONTWRITEBYTECODE=1 /usr/bin/python3 packaging/take_crew_picture.py \
    build/libexec/wingbell-control/IntercomServer "$PWD/docs/pictures/crew.png"
ls -l docs/pictures
