"""Writes each group of commands that the installed guide tells its reader to paste into a script of its own, in their
order: write_guide_commands.py FOLDER_OF_THE_PAGES FOLDER USER

What the reader has to replace is replaced: the desk's address, and the name of the USER.
"""

import html
import os
import re
import sys


def main():
    source, target, user = sys.argv[1:]
    os.makedirs(target)
    number = 0
    for page in sorted(os.listdir(source)):
        if not page.endswith(".html"):
            continue
        with open(os.path.join(source, page), encoding="utf-8") as file:
            text = file.read()
        for group in re.findall(r'<pre><code class="language-sh">(.*?)</code></pre>', text, re.DOTALL):
            commands = re.sub(r"\bNAME\b", user, html.unescape(group).replace("192.168.1.20", "127.0.0.1"))
            number += 1
            with open(os.path.join(target, f"{number:02}-{page.removesuffix('.html')}"), "w", encoding="utf-8") as file:
                file.write(commands)
    assert number, "the guide's pages have no commands"


main()
