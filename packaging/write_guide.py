"""Writes the guide as pages for a browser that needs no network: write_guide.py FOLDER_OF_THE_DOCUMENTS FOLDER"""

import os
import re
import shutil
import sys

import markdown

PAGE = """<!DOCTYPE html>
<html lang="en">
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>{title} – WingbellControl</title>
<style>
:root {{ color-scheme: dark light; }}
body {{ font: 16px/1.5 sans-serif; max-width: 52em; margin: 0 auto; padding: 1em; color: #ddd; background: #161415; }}
a {{ color: #e2b55b; }}
h1, h2, h3 {{ line-height: 1.2; margin-top: 1.6em; }}
img {{ max-width: 100%; }}
table {{ border-collapse: collapse; width: 100%; }}
th, td {{ border: 1px solid #555; padding: 0.3em 0.6em; text-align: left; vertical-align: top; overflow-wrap: anywhere; }}
pre {{ overflow-x: auto; padding: 0.6em; border: 1px solid #555; }}
@media (prefers-color-scheme: light) {{ body {{ color: #222; background: #fff; }} a {{ color: #7a5200; }} }}
@media print {{ body {{ color: #000; background: #fff; }} a {{ color: inherit; }} }}
</style>
<nav>{way_back}</nav>
{content}
</html>
"""
WAY_BACK = '<a href="guide.html">The guide</a>'


def slug(heading, separator):
    """As the code's host makes anchors of headings, which the links of the guide rely on."""
    return re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", separator)


def main():
    source, target = sys.argv[1:]
    os.makedirs(target, exist_ok=True)
    for name in sorted(os.listdir(source)):
        if not name.endswith(".md"):
            continue
        with open(os.path.join(source, name), encoding="utf-8") as file:
            text = file.read()
        content = markdown.markdown(
            text, extensions=["tables", "fenced_code", "toc", "sane_lists"],
            extension_configs={"toc": {"slugify": slug}}, output_format="html",
        )  # fmt: skip
        content = re.sub(r'(href="[\w-]+)\.md([#"])', r"\1.html\2", content)
        title = re.search(r"^# (.+)$", text, re.MULTILINE).group(1)
        way_back = "" if name == "guide.md" else WAY_BACK
        with open(os.path.join(target, name[: -len("md")] + "html"), "w", encoding="utf-8") as file:
            file.write(PAGE.format(title=title, content=content, way_back=way_back))
    shutil.copytree(os.path.join(source, "pictures"), os.path.join(target, "pictures"), dirs_exist_ok=True)


main()
