"""Reads and operates the program's controls over AT-SPI, as a screen reader does.

Requests values from the program over D-Bus whenever they are needed. Caches only the roles of
objects, which never change.
"""

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

_ROOT = "/org/a11y/atspi/accessible/root"
_REGISTRY = "org.a11y.atspi.Registry"
_CALL_LIMIT = 20_000  # milliseconds

# Values of AtspiStateType.
_CHECKED = 4
_PRESSED = 20
_SELECTED = 23

# Roles of objects that have no children in the program's windows.
_LEAVES = {"check box", "label", "list item", "progress bar", "push button", "radio button",
           "scroll bar", "separator", "table cell"}

_roles = {}  # of the current bus, by owner and path; programs do not reuse paths


class Unreachable(Exception):
    """The object no longer exists, or its program has ended."""


def _connect(address):
    flags = (Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT
             | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION)
    return Gio.DBusConnection.new_for_address_sync(address, flags, None, None)


def _call(bus, name, path, interface, method, arguments=None):
    try:
        reply = bus.call_sync(name, path, interface, method, arguments, None,
                              Gio.DBusCallFlags.NONE, _CALL_LIMIT, None)
    except GLib.Error as error:
        raise Unreachable(f"{interface}.{method}: {error.message}") from error
    return reply.unpack()


class Accessibility:
    """The accessibility bus of a session. The constructor enables accessibility."""

    def __init__(self, session_address):
        self._session = _connect(session_address)
        (address,) = _call(self._session, "org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus",
                           "GetAddress")
        _call(self._session, "org.a11y.Bus", "/org/a11y/bus", "org.freedesktop.DBus.Properties",
              "Set", GLib.Variant("(ssv)", ("org.a11y.Status", "IsEnabled",
                                            GLib.Variant("b", True))))
        self.bus = _connect(address)
        _roles.clear()  # clients of the new bus may have the same names

    def application(self, pid):
        """Returns the application of a process, or None if the process has not registered."""
        for child in Node(self.bus, _REGISTRY, _ROOT).children():
            if child.owner_pid() == pid:
                return child
        return None


class Node:
    """One accessible object."""

    def __init__(self, bus, owner, path):
        self._bus = bus
        self._owner = owner
        self._path = path

    def _request(self, interface, method, signature=None, *arguments):
        packed = GLib.Variant(signature, arguments) if signature else None
        return _call(self._bus, self._owner, self._path, f"org.a11y.atspi.{interface}", method,
                     packed)

    def _property(self, interface, name):
        (value,) = _call(self._bus, self._owner, self._path, "org.freedesktop.DBus.Properties",
                         "Get", GLib.Variant("(ss)", (f"org.a11y.atspi.{interface}", name)))
        return value

    def owner_pid(self):
        (pid,) = _call(self._bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                       "org.freedesktop.DBus", "GetConnectionUnixProcessID",
                       GLib.Variant("(s)", (self._owner,)))
        return pid

    @property
    def name(self):
        return self._property("Accessible", "Name")

    @property
    def description(self):
        return self._property("Accessible", "Description")

    @property
    def role(self):
        key = self._owner, self._path
        if key not in _roles:
            (_roles[key],) = self._request("Accessible", "GetRoleName")
        return _roles[key]

    def children(self):
        (children,) = self._request("Accessible", "GetChildren")
        return [Node(self._bus, owner, path) for owner, path in children]

    def descendants(self):
        """Yields all objects below this one in preorder."""
        for child in self.children():
            yield child
            if child.role not in _LEAVES:
                yield from child.descendants()

    def find(self, role, name=None):
        """Returns the descendant with this role and name. Fails unless exactly one exists."""
        return self._only(self.descendants(), role, name)

    def find_child(self, role, name=None):
        """Returns the child with this role and name. Fails unless exactly one exists."""
        return self._only(self.children(), role, name)

    def _only(self, nodes, role, name):
        found = [node for node in nodes if node.role == role and name in (None, node.name)]
        if len(found) != 1:
            raise AssertionError(f"{len(found)} objects with role {role}, name {name}:\n{self.tree()}")
        return found[0]

    def text(self):
        (text,) = self._request("Text", "GetText", "(ii)", 0, -1)
        return text

    def actions(self):
        (actions,) = self._request("Action", "GetActions")
        return [name for name, _description, _keys in actions]

    def act(self, action):
        (done,) = self._request("Action", "DoAction", "(i)", self.actions().index(action))
        if not done:
            raise AssertionError(f"{self.name}: {action} failed")

    def _has_state(self, number):
        ((low, _high),) = self._request("Accessible", "GetState")
        return bool(low & 1 << number)

    def is_checked(self):
        return self._has_state(_CHECKED)

    def is_pressed(self):
        return self._has_state(_PRESSED)

    def is_selected(self):
        return self._has_state(_SELECTED)

    def has_text(self):
        (interfaces,) = self._request("Accessible", "GetInterfaces")
        return "org.a11y.atspi.Text" in interfaces

    def grab_focus(self):
        self._request("Component", "GrabFocus")

    def tree(self, depth=0):
        """Returns the roles and names of all descendants as text, for failure messages."""
        lines = []
        for child in self.children():
            lines.append("  " * depth + f"{child.role}: {child.name!r}")
            lines.append(child.tree(depth + 1))
        return "\n".join(line for line in lines if line)
