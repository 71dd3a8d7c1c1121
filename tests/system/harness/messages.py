"""The program's messages in the view and in the progress display."""

STARTED = "Quillet has started...\n"
CLOCK_SET = "Tavo Time sychronized...\n"
NOT_CONNECTED = "Tavo is not connected. Please try after connecting Tavo.\n"
FAILED = "Failed\n"
FAILED_TO_CONNECT = "Failed to connect to Tavo\n"
RUN_STARTED = "\nSynchronization has started...\n"
NO_DATA = "No data to synchronize...\n"
ERASED = "Erased Tavo memory...\n"
FINISHED = "Synchronization finished. Tavo can be plugged off now\n"

ATTEMPT = "\n"  # each attempt to connect begins with an empty line

# Messages of the progress display
WAITING = "Waiting for the scanner. Plug it in."
OWN_WINDOW = ("Quillet's window had focus, so the records were not delivered. They are in the "
              "archive. Click the target window before you scan.")
NO_APPLICATION = 'The application "TextEdit" was not found. Choose another application.'
NO_TYPING = "Quillet cannot type on this desktop: "
REQUESTING = "Requesting records from the scanner…"
SILENCE = "  ·  no data for "  # appended to the progress text after 3 s without data


def gave_up(records=0):
    """The message that is shown after an unanswered wake-up."""
    arrived = "No records were received." if records == 0 else f"{records} records are in the archive."
    return f"The scanner did not respond. {arrived} Restart Quillet to continue."


def cut_off(records):
    return (f"Only {records} records could be read. The scanner was not erased. Turn off "
            "\"Download all records in one transfer\" and synchronize again.")


def no_copy(records):
    return (f"The scanner was not erased because {records} records were not saved. Check the "
            "disk.")


def trying(node="ttyACM0"):
    return f"Trying to connect /dev/{node}: "


def connected(serial="005771"):
    return f"\nConnected to Tavo[{serial}]\n"


def disconnected(serial="005771"):
    return f"Disconnected from Tavo[{serial}]\n"


def connecting(node="ttyACM0", serial="005771"):
    """Messages of a successful connection attempt that sets the scanner's clock."""
    return ATTEMPT + trying(node) + connected(serial) + CLOCK_SET


def failed_attempt(node="ttyACM0"):
    """Messages of a failed automatic attempt to connect."""
    return ATTEMPT + trying(node) + FAILED + FAILED_TO_CONNECT


def count(number):
    return f"{number} barcodes synchronized\n"


def file_run(number, path):
    """Messages of a run that writes `number` records to a file. A dot is shown for every 64
    records."""
    dots = "." * ((number + 63) // 64)
    return RUN_STARTED + dots + f"\nSynchronized to {path}\n" + count(number) + FINISHED


def erasing_run(number, path):
    """Messages of a run that writes `number` records to a file and then erases the scanner."""
    return file_run(number, path).replace(FINISHED, ERASED + FINISHED)


EMPTY_RUN = RUN_STARTED + NO_DATA + FINISHED
