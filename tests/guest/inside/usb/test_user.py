"""Tests the program as a user without permission to open the scanner's port."""

import grp
import os

from bus import as_root
from case import UsbTest, messages


class WithoutPermissionTest(UsbTest):

    def test_connects_after_permission_is_granted(self):
        self.assertNotIn(grp.getgrnam("dialout").gr_gid, os.getgroups())
        scanner = self.plugged_in_scanner()
        self.assertFalse(os.access("/dev/ttyACM0", os.R_OK | os.W_OK))
        quillet = self.start()
        quillet.wait_for_view(messages.STARTED + messages.failed_attempt())
        self.log.wait_for("[/dev/ttyACM0]:Open failed !!!")
        self.assertEqual([], scanner.commands())
        self.assertEqual("Quillet V1.25", quillet.title())
        quillet.clear()
        quillet.press("Connect")
        text = messages.ATTEMPT + messages.trying() + messages.FAILED
        quillet.wait_for_view(text)

        as_root("chown", "tester", "/dev/ttyACM0")
        quillet.press("Connect")
        quillet.wait_for_view(text + messages.connecting())
