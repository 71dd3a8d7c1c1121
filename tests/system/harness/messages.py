"""What the program says in its view, in the order in which it comes up."""

STARTED = "Quillet has started...\n"
CLOCK_SET = "Tavo Time sychronized...\n"
NOT_CONNECTED = "Tavo is not connected. Please try after connecting Tavo.\n"
FAILED = "Failed\n"
FAILED_TO_CONNECT = "Failed to connect to Tavo\n"
RUN_STARTED = "\nSynchronization has started...\n"
NO_DATA = "No data to synchronize...\n"
ERASED = "Erased Tavo memory...\n"
FINISHED = "Synchronization finished. Tavo can be plugged off now\n"

ATTEMPT = "\n"
"""Every attempt to connect begins on a line of its own."""


def trying(node="ttyACM0"):
    return f"Trying to connect /dev/{node}: "


def connected(serial="005771"):
    return f"\nConnected to Tavo[{serial}]\n"


def disconnected(serial="005771"):
    return f"Disconnected from Tavo[{serial}]\n"


def connecting(node="ttyACM0", serial="005771"):
    """An attempt that succeeds at this port, with the scanner's clock set."""
    return ATTEMPT + trying(node) + connected(serial) + CLOCK_SET


def dots(count):
    """The signs of progress of a run of so many records to a file."""
    return "." * ((count + 63) // 64)


def count(number):
    return f"{number} barcodes synchronized\n"


def file_run(number, path):
    """A run that writes so many records to a file."""
    return (RUN_STARTED + dots(number) + f"\nSynchronized to {path}\n" + count(number) + FINISHED)


EMPTY_RUN = RUN_STARTED + NO_DATA + FINISHED
