"""Prints as JSON the texts that an application shows, in the order of its elements.

usage: readShownTexts.py PID

Reads with the accessibility library that the desktop ships, so that a test can see
an effect by other eyes than those it tests.
"""

import json
import sys

import pyatspi


def shownTexts(element):
    try:
        if not element.getState().contains(pyatspi.STATE_SHOWING) and element.getRole() != pyatspi.ROLE_APPLICATION:
            return
        if element.name:
            yield element.name
        try:
            text = element.queryText()
            yield text.getText(0, text.characterCount)
        except NotImplementedError:
            pass
        for child in element:
            if child is not None:
                yield from shownTexts(child)
    except LookupError:
        # The element went away while it was being read.
        return


def main():
    pid = int(sys.argv[1])
    for application in pyatspi.Registry.getDesktop(0):
        if application is not None and application.get_process_id() == pid:
            print(json.dumps(list(shownTexts(application))))
            return
    sys.exit(f"No accessible application has the process identifier {pid}")


main()
