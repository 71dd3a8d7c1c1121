"""A user to whom the scanner is closed."""

import grp
import os

from bus import as_root
from case import UsbTest, messages


class WithoutPermissionTest(UsbTest):

    def test_failure_is_shown_and_mended_by_the_permission(self):
        self.assertNotIn(grp.getgrnam("dialout").gr_gid, os.getgroups())
        scanner = self.plugged_in_scanner()
        self.assertFalse(os.access("/dev/ttyACM0", os.R_OK | os.W_OK))
        quillet = self.start()
        failed = (messages.ATTEMPT + messages.trying() + messages.FAILED
                  + messages.FAILED_TO_CONNECT)
        quillet.wait_for_view(messages.STARTED + failed)
        self.log.wait_for("[/dev/ttyACM0]:Open failed !!!")
        self.assertEqual([], scanner.commands())
        self.assertEqual("Quillet V1.25", quillet.title())
        quillet.wait_until_attempt_is_over()
        quillet.press("Connect")
        text = messages.ATTEMPT + messages.trying() + messages.FAILED
        quillet.wait_for_view(text)

        as_root("chown", "tester", "/dev/ttyACM0")
        quillet.press("Connect")
        quillet.wait_for_view(text + messages.connecting())
