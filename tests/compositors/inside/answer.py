#!/usr/bin/python3
"""Answers a portal's dialog through the accessibility tree, as a user would.

    answer.py LABEL...   turns on all switches and presses the first button with one of the labels
    answer.py            prints the tree
"""

import sys
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402 # pylint: disable=wrong-import-position

LIMIT = 30.0  # seconds


def nodes(node, depth=0):
    """Yields `node` and all nodes below it, with their depths. Skips nodes that no longer exist."""
    try:
        yield node, depth
        for index in range(node.get_child_count()):
            child = node.get_child_at_index(index)
            if child is not None:
                yield from nodes(child, depth + 1)
    except GLib.Error:
        pass


def portals():
    desktop = Atspi.get_desktop(0)
    for index in range(desktop.get_child_count()):
        application = desktop.get_child_at_index(index)
        if application is not None and "portal" in (application.get_name() or ""):
            yield application


def actions(node):
    try:
        return [node.get_action_name(index) for index in range(node.get_n_actions())]
    except GLib.Error:
        return []  # the node has no actions


def act(node):
    for index, name in enumerate(actions(node)):
        if name.lower() in ("click", "press", "toggle", "activate"):
            node.do_action(index)
            return True
    return False


def has(node, state):
    return node.get_state_set().contains(state)


def answer(labels):
    found = [node for portal in portals() for node, _depth in nodes(portal)]
    for node in found:
        if node.get_role() in (Atspi.Role.SWITCH, Atspi.Role.CHECK_BOX) and \
                not has(node, Atspi.StateType.CHECKED) and has(node, Atspi.StateType.SENSITIVE):
            act(node)
    for node in found:
        if node.get_name() in labels and has(node, Atspi.StateType.SENSITIVE) and act(node):
            return True
    return False


def main():
    if len(sys.argv) == 1:
        for portal in portals():
            for node, depth in nodes(portal):
                print("  " * depth, node.get_role_name(), repr(node.get_name()), actions(node),
                      *[state.value_nick for state in (Atspi.StateType.SENSITIVE, Atspi.StateType.CHECKED)
                                                  if has(node, state)])
        return 0
    end = time.monotonic() + LIMIT
    while time.monotonic() < end:
        if answer(sys.argv[1:]):
            return 0
        time.sleep(0.2)
    return 1


sys.exit(main())
