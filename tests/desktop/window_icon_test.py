"""A desktop can match the window with its menu entry, and finds its icon."""

import configparser
import re

from desk import Desk, output_of, wait_until

entry = configparser.ConfigParser(interpolation=None)
entry.optionxform = str
entry.read("/opt/wingbell/share/applications/wingbell-control.desktop", encoding="utf-8")
group = entry["Desktop Entry"]

window = Desk()
identifier = window.wait_for_input()
names = re.findall(r'"([^"]*)"', output_of("xprop", "-id", identifier, "WM_CLASS"))
assert group["StartupWMClass"] in names, f"the entry's {group['StartupWMClass']} is none of the window's {names}"


def sizes():
    icon = output_of("xprop", "-id", identifier, "-notype", "_NET_WM_ICON")
    return [int(size) for size in re.findall(r"Icon \((\d+) x \1\)", icon)]


wait_until(lambda: {16, 24, 32, 48, 64} <= set(sizes()), "the window's icon in every size")
window.close()
