"""What large shows cost the window beside the default show: time of its thread, items and memory.

Run by bench/run: large_show.py PROGRAM. Prints a table; asserts nothing.
"""

import json
import subprocess
import sys
import tempfile


def show(roles, channels):
    names = [f"Channel {number}" for number in range(1, channels + 1)]
    return {
        "show": "A large show",
        "channels": names,
        "roles": [
            {"name": f"Role {number}", "talk": names[number % 3 :: 3], "listen": names[number % 2 :: 2]}
            for number in range(1, roles + 1)
        ],
    }


SHOWS = {
    "default": None,
    "64 x 32": show(64, 32),
}


def measure(program, document):
    with tempfile.TemporaryDirectory() as folder:
        if document is not None:
            with open(f"{folder}/roles.json", "w", encoding="utf-8") as file:
                json.dump(document, file)
        lines = subprocess.run([program, folder], stdout=subprocess.PIPE, text=True, check=True).stdout.splitlines()
    return {line.rsplit(" ", 1)[0]: float(line.rsplit(" ", 1)[1]) for line in lines}


def main():
    figures = {name: measure(sys.argv[1], document) for name, document in SHOWS.items()}
    reference = figures["default"]
    print("roles x channels; milliseconds of the window's thread; ratios to the default show")
    print(f"{'':38}" + "".join(f"{name:>12}" + (f"{'ratio':>7}" if name != "default" else "") for name in SHOWS))
    for label in reference:
        line = f"{label:38}"
        for name in SHOWS:
            value = figures[name][label]
            line += f"{value:12.1f}"
            if name != "default":
                line += f"{value / max(reference[label], 0.01):7.1f}"
        print(line)


main()
