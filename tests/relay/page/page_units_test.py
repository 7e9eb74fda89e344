"""Runs the unit tests of the crew's pages in a browser."""

import sys

from browser import Browser, wait_until
from mock_desk import MockDesk


def main():
    desk = MockDesk()
    try:
        with Browser() as browser:
            browser.open(f"{desk.address}/units")
            try:
                outcome = wait_until(lambda: browser.run("return window.outcome"), "the tests finish")
            except AssertionError:
                sys.exit(f"The tests did not run: {browser.console_errors()}")
    finally:
        desk.stop()
    failed = [test for test in outcome if test["error"]]
    for test in outcome:
        print("not ok" if test["error"] else "ok", "-", test["name"])
        if test["error"]:
            print("   ", test["error"])
    print(f"{len(outcome)} tests, {len(failed)} failed")
    sys.exit(1 if failed or not outcome else 0)


if __name__ == "__main__":
    main()
