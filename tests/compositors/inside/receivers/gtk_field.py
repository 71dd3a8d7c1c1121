#!/usr/bin/python3
"""A GTK 4 window with a text field: gtk_field.py FILE

Writes the text to FILE at the start and after each change.
"""

import sys

import gi

gi.require_version("Gtk", "4.0")
from gi.repository import GLib, Gtk  # noqa: E402 # pylint: disable=wrong-import-position

from saved_text import SavedText  # noqa: E402 # pylint: disable=wrong-import-position


def show(application, saved):
    field = Gtk.TextView(monospace=True)
    buffer = field.get_buffer()
    window = Gtk.ApplicationWindow(application=application, title="receiver", child=field)
    window.set_default_size(800, 600)

    def save():
        saved.write(buffer.get_text(*buffer.get_bounds(), True))
        return GLib.SOURCE_REMOVE

    saved.schedule = lambda: GLib.idle_add(save)
    buffer.connect("changed", lambda _buffer: saved.changed())
    field.grab_focus()
    saved.write("")
    window.present()


text = SavedText(sys.argv[1])
application = Gtk.Application(application_id="org.quillet.Receiver")
application.connect("activate", show, text)
application.run([])
