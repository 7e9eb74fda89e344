#!/usr/bin/env bash
# Takes the guide's pictures from the real programs, in a private root: ./build_app.sh pictures
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
mkdir -p docs/pictures
WINGBELL_KEEP_NETWORK=1 WINGBELL_OUTPUT=$PWD/docs/pictures WINGBELL_SCREEN=900x1500x24 \
    packaging/in_show_network.sh tests/desktop/in_private_root.sh build /usr/bin/python3 /tests/desktop/take_pictures.py
PYTHONDONTWRITEBYTECODE=1 packaging/in_show_network.sh /usr/bin/python3 packaging/take_crew_pictures.py \
    build/libexec/wingbell-control/IntercomServer "$PWD/docs/pictures"
ls -l docs/pictures
