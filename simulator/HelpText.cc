#include "simulator/CommandLine.h"
#include "simulator/Fault.h"

namespace quillet::simulator {
namespace {

constexpr std::string_view kArgumentsHelp = R"(Usage: tavo-simulator [ARGUMENT VALUE]...

Simulates a handheld Tavo barcode scanner on a new pseudo-terminal, which programs can open as
a serial port. Prints "ready PATH" when PATH can be opened.

Scanner:
  --model old|300          the record layout and symbology codes of the older scanners
                           (default) or of the 300 series
  --serial TEXT            serial number (2104005771); ten characters in real scanners
  --firmware TEXT          firmware version (0.00.41000; 300 series: 1.00.42010)
  --asset TEXT             asset number (STOCKROOM-04)
  --terminator @|!         last character of plain answers (@)

Records (default: --records 130; can be combined, in this order):
  --csv FILE               the records of a table with the fields symbology,data,time:
                             EAN-13,4006381333931,2026-11-16 09:15:00
                             0x86,"with, comma",2026-11-16 09:15:04
                             Code 128,tab\x09 and nul\x00,2026-11-16 09:15:09
                             erased,,2026-11-16 09:15:12
                           Symbologies are names or numbers (decimal, or hexadecimal after
                           0x). Lines that begin with # are ignored.
  --records N              N records of a realistic stock-taking
  --extreme N              N records with extreme contents
  --random N               number that selects the generated contents (1)

Line:
  --link PATH              create a symbolic link to the line, or replace an existing link
  --device NODE            use this terminal device instead of a pseudo-terminal; it is
                           reopened after a hang-up
  --cooked                 leave the pseudo-terminal in the system's default mode, with echo
                           and line editing, instead of raw mode
  --speed BITS|unlimited   speed in bit/s, ten bits per byte (115200)
  --latency MS             time from a command to its answer, may have decimals (2)
  --transcript FILE        write all bytes to a file: seconds, < (received) or > (sent),
                           hexadecimal, text; lines with # are events
  --faults FILE            read a fault script, see below

  --help                   print this text

Values can also be written as ARGUMENT=VALUE.

)";

constexpr std::string_view kEndHelp = R"(
The program ends on SIGINT, SIGTERM, SIGHUP or "quit", and at the end of standard input if that is
a terminal. It then hangs up the port, removes the link, and lists received bytes that are not
valid commands on standard error.

Exit status: 0 normal end; 1 a file or the line failed; 2 invalid arguments.

)";

}  // namespace

constexpr std::string_view kConsoleHelp =
    R"(While it runs, the program reads commands from standard input, one per line. It prints one
answer to each: "ok", a result, or "error: ...".
  scan SYMBOLOGY DATA      scan a barcode: send its frame and store it. SYMBOLOGY is as in a
                           table, without blanks. DATA ends with the line and may contain
                           \xNN, \r, \n, \t, \\
  unplug                   pull the cable
  plug                     plug the cable in; prints "ready PATH"
  records                  print the number of stored records
  commands                 print the commands received so far, one per line
  complaints               print descriptions of invalid input received so far
  fault RULE               add a rule of a fault script, counted from now
  quit                     end the program
)";

constexpr std::string_view kFaultHelp =
    R"(A fault script has one rule per line: a trigger and an action. Empty lines and comments, which
begin with #, are ignored.

Triggers:
  on COMMAND [N|N+|every]  COMMAND is received: the N-th time, from the N-th time on, or
                           every time (default).
                           COMMAND: W M V GZSG w0# w1# C E N GS1 GS0 P, p1a# for one
                           record, w or p for all commands with that letter, any for all
  after-sent K             K bytes have been sent to the computer since plugging in
  after-received K         K bytes have been received since plugging in
  after-bytes K            K bytes have been sent and received in total since plugging in
  at T                     time since the start, for example 2.5s or 700ms

Actions on a command:
  ignore                   do not execute or answer the command
  silence                  execute the command, but do not answer it
  delay MS                 send the answer MS milliseconds later
  chunks SIZE [MS]         send the answer in chunks of SIZE bytes, with pauses of MS
  before BYTES             send BYTES before the answer
  within K BYTES           insert BYTES after the first K bytes of the answer
  after BYTES              send BYTES after the answer
  answer BYTES             send BYTES instead of the answer
  length N                 set the length field of an answer to p or P to N
  truncate K               send only the first K bytes of the answer
  lose K [COUNT]           lose COUNT bytes (1) after the first K bytes of the answer
  unplug [replug MS]       pull the cable instead of executing the command, and plug it in
                           again after MS milliseconds

Actions after bytes or at a time (once):
  unplug [replug MS]       as above, after the computer has read all sent bytes
  plug                     plug the cable in
  send BYTES               send BYTES at once, even within an answer
  pause MS                 send nothing for MS milliseconds
  lose K                   lose the next K bytes of the pending answer
  scan SYMBOLOGY DATA      scan a barcode; its frame follows the pending answer. SYMBOLOGY
                           is a number, DATA may be in quotation marks

BYTES are hexadecimal numbers and texts in quotation marks, which may contain \xNN, \r, \n, \t
and \\. Several rules may apply to the same command, in the order of the script.

Examples:
  on M 1 silence                           # the first request for the serial number
  on P delay 700
  on P chunks 1 0.2                        # byte by byte
  on N answer 00 00 21 00 40               # 8448 records
  on p1a# length 0
  on V before "garbage" 00 ff
  on E ignore
  after-sent 1234 unplug replug 500
  after-sent 400 pause 50
  at 2.5s send 03 00 00 06 61 62 63 40     # an unsolicited frame
  at 3s scan 0 4006381333931
)";

std::string HelpText() {
  std::string text;
  for (const auto part : {kArgumentsHelp, kConsoleHelp, kEndHelp, kFaultHelp}) text += part;
  return text;
}

}  // namespace quillet::simulator
