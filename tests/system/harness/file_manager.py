"""A fake file manager for test desktops."""

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio  # noqa: E402


class FileManager:
    """Replaces the desktop's file manager. `shown` contains the requested URLs, and `startup_ids`
    contains the second argument of each request."""

    def __init__(self, desktop):
        self.shown = []
        self.startup_ids = []
        flags = (Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT
                 | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION)
        self._bus = Gio.DBusConnection.new_for_address_sync(
            desktop.environment["DBUS_SESSION_BUS_ADDRESS"], flags, None, None)
        self._bus.add_filter(self._receive)
        Gio.bus_own_name_on_connection(self._bus, "org.freedesktop.FileManager1",
                                       Gio.BusNameOwnerFlags.NONE, None, None)

    def _receive(self, connection, message, incoming, *_data):
        if not incoming or message.get_member() != "ShowItems":
            return message
        urls, startup_id = message.get_body().unpack()
        self.shown += urls
        self.startup_ids.append(startup_id)
        connection.send_message(message.new_method_reply(), Gio.DBusSendMessageFlags.NONE)
        return None
