"""Tests power failures with a disk model that loses all unflushed data."""

import tempfile

from disk_model import archived_bytes, read_trace, survivors_at_erases, synchronized_paths
from fault_case import FOLDER, OUTPUT, FaultTest, Settings, messages, some_records, wait_until

_TRACE = f"{tempfile.gettempdir()}/disk-calls"
_STATE = "/tmp/state"  # the program creates this folder for its archive


class PowerTest(FaultTest):

    faults = "disk_calls"

    def setUp(self):
        super().setUp()
        with open(_TRACE, "w", encoding="ascii"):
            pass

    def erasing_runs(self, *runs, erases=1, **settings):
        """Downloads each list of records in a separate run. Each run sends `erases` erase commands.
        Returns the traced calls."""
        Settings(filename=OUTPUT, clear_memory=1, **settings).save()
        for records in runs:
            scanner = self.plugged_in_scanner(records)
            quillet = self.start(environment=self.preload(DISK_CALLS_TRACE=_TRACE,
                                                          XDG_STATE_HOME=_STATE))
            quillet.wait_for_view(messages.STARTED + messages.connecting())
            quillet.wait_for_connect_label("Disconnect")
            quillet.clear()
            quillet.press("Synchronize")
            quillet.wait_for_view_end(messages.FINISHED)
            wait_until(lambda: scanner.commands().count("E") == erases, f"{erases} erase commands")
            self.assertEqual(0, scanner.record_count())
            self.end_program()
        return read_trace(_TRACE)

    @staticmethod
    def lost(calls, runs, skipped=None, erases=1):
        """Returns the records that would be lost if the power failed at any erase command.

        skipped: path of a file or folder for which fsync() is ignored
        erases: number of erase commands of each run
        """
        lost = []
        survivors = survivors_at_erases(calls, skipped)
        for number, files in enumerate(survivors):
            kept = b"".join(archived_bytes(contents) for path, contents in files.items()
                            if path.endswith(".records")) + files.get(OUTPUT, b"")
            lost += [record for run in runs[:number // erases + 1] for record in run
                     if record.data not in kept]
        expected = erases * len(runs)
        return lost if len(survivors) == expected else \
            [f"{len(survivors)} erase commands in the trace, not {expected}"]

    def check_erased_records_survive(self, erases=1, **settings):
        records = some_records(9)
        runs = [records[:4], records[4:]]
        calls = self.erasing_runs(*runs, erases=erases, **settings)
        archived = [call for call in calls if OUTPUT not in call]
        self.assertEqual([], self.lost(archived, runs, erases=erases))

    def check_each_synchronization_is_needed(self, calls, runs, *folders):
        """Checks that ignoring fsync() for any folder or for the written file loses records."""
        self.assertEqual([], self.lost(calls, runs))
        (file,) = [path for path in synchronized_paths(calls)
                   if path.endswith(".records") or path.startswith(f"{FOLDER}/.out.txt.")]
        for path in [*folders, file]:
            with self.subTest(path):
                self.assertTrue(self.lost(calls, runs, skipped=path))

    def test_burst_survives_power_failure_during_erase(self):
        self.check_erased_records_survive(burst_sync=1)

    def test_record_by_record_run_survives_power_failure(self):
        # A record-by-record run sends the erase command twice.
        self.check_erased_records_survive(erases=2, burst_sync=0)

    def test_records_in_view_survive_power_failure_during_erase(self):
        self.check_erased_records_survive(destination=1)

    def test_skipping_any_archive_flush_loses_records(self):
        runs = [some_records(4)]
        self.check_each_synchronization_is_needed(
            self.erasing_runs(*runs, destination=1), runs, "/tmp", _STATE, f"{_STATE}/quillet",
            f"{_STATE}/quillet/runs")

    def test_skipping_any_output_file_flush_loses_records(self):
        with open(_STATE, "w", encoding="ascii"):
            pass  # this file prevents the program from creating the archive folder
        runs = [some_records(4)]
        self.check_each_synchronization_is_needed(self.erasing_runs(*runs), runs, FOLDER)
