"""What another user of the computer can do with files, links and programs."""

import os
import re
import stat

from harness import other_user
from harness.case import FOLDER, SHARED, OtherUserTest, messages, some_records, wait_until
from harness.settings import PATH


class OtherUsersTest(OtherUserTest):

    def start_and_synchronize(self, records=2, serial="2104005771", **popen):
        """Starts the program with a scanner, waits until it is connected, and presses
        Synchronize."""
        self.plugged_in_scanner(some_records(records), serial=serial)
        self.start(**popen)
        self.quillet.wait_for_view_end(messages.CLOCK_SET)
        self.quillet.clear()  # has an effect only after the attempt to connect
        self.quillet.press("Synchronize")

    def test_cannot_write_what_quillet_creates(self):
        self.start_and_synchronize(preexec_fn=lambda: os.umask(0))
        output = self.wait_for_generated_file()
        for command in (f"touch {FOLDER}/new", f": >>{PATH}", f": >>{output}", f"rm -f {output}"):
            self.assertFalse(other_user.succeeds(command), command)
        self.assertEqual(["0o755", "0o644", "0o644"],
                         [oct(stat.S_IMODE(os.stat(path).st_mode))
                          for path in (FOLDER, PATH, output)])

    def test_serial_number_cannot_choose_their_folder(self):
        other_user.run(f"mkdir -m 0777 {SHARED}/QuilletDataAB")
        self.start_and_synchronize(serial="2104AB/C")
        wait_until(lambda: any(re.fullmatch(r"QuilletDataAB_C_\d{8}_\d{6}\.txt", name)
                               for name in os.listdir(SHARED)), "the output file")
        self.assertEqual([], os.listdir(f"{SHARED}/QuilletDataAB"))
