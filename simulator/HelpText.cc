#include "simulator/CommandLine.h"
#include "simulator/Fault.h"

namespace quillet::simulator {
namespace {

constexpr std::string_view kArgumentsHelp = R"(Usage: tavo-simulator [ARGUMENT VALUE]...

Simulates a handheld Tavo barcode scanner on a new pseudo-terminal, which any program can open
as a serial port. It prints "ready PATH" as its first line as soon as PATH can be opened, and
runs until it is told to stop.

The scanner
  --model old|300          the record layout and the numbers of the symbologies: the older
                           scanners' (default) or the 300 series'
  --serial TEXT            its serial number (2104005771; a genuine one has ten characters)
  --firmware TEXT          its firmware version (0.00.41000, in the 300 series 1.00.42010)
  --asset TEXT             its asset number (STOCKROOM-04)
  --terminator @|!         what ends its plain answers (@)

Its records (with none of these: --records 130; with several: all of them, in this order)
  --csv FILE               the records of a table: lines of symbology,data,time such as
                             EAN-13,4006381333931,2026-11-16 09:15:00
                             0x86,"with, comma",2026-11-16 09:15:04
                             Code 128,tab\x09 and nul\x00,2026-11-16 09:15:09
                             erased,,2026-11-16 09:15:12
                           Symbologies are names, or bytes in decimal or, after 0x,
                           hexadecimal; lines that begin with # are ignored
  --records N              N records of a realistic stock-taking
  --extreme N              N records from the edges of what can be stored
  --random N               another stock-taking, other edges (1)

The line
  --link PATH              a symbolic link to the line; another link there is replaced
  --device NODE            serve this existing terminal device instead of a pseudo-terminal;
                           opened again after a hang-up
  --cooked                 leave the pseudo-terminal as the system creates it, with echo and
                           line editing, as a fresh serial port has; else it is raw
  --speed BITS|unlimited   its speed in bit/s, ten bits per byte (115200)
  --latency MS             from a command to its answer, decimals allowed (2)
  --transcript FILE        record every byte with its time: seconds, < for received or
                           > for sent, hexadecimal, text; # lines are events
  --faults FILE            a fault script, see below

--help                     this text

Values may also be given as ARGUMENT=VALUE.

)";

constexpr std::string_view kEndHelp = R"(
The end of standard input ends the program only if it is a terminal: so it can run in the
background with its input closed. SIGINT, SIGTERM and SIGHUP end it in good order: the link is
removed, the port hangs up. Received bytes that are no valid command are then listed on standard
error.

Exit codes: 0 ended as told; 1 something could not be done (a file, the line); 2 invalid
arguments.

)";

}  // namespace

constexpr std::string_view kConsoleHelp =
    R"(While it runs it reads lines from standard input, and answers each with one on standard output
("ok", or the result, or "error: ..."):
  scan SYMBOLOGY DATA      scan a barcode: its frame is sent, and it is stored. SYMBOLOGY as in
                           a table (names without blanks), DATA to the end of the line, with
                           \xNN, \r, \n, \t, \\
  unplug                   pull the cable
  plug                     plug it in again; the answer is "ready PATH"
  records                  how many records are stored
  commands                 what the computer has sent so far, one command per line
  complaints               what it has sent that is no valid command
  fault RULE               add one more rule of a fault script, counted from now
  quit                     end the program
)";

constexpr std::string_view kFaultHelp =
    R"(A fault script has one rule per line: when, and what happens then. Empty lines, and
everything from a word that begins with '#', are ignored.

When:
  on COMMAND [N|N+|every]  a command has arrived whole: the N-th time, from the N-th time
                           on, or every time (default).
                           COMMAND: W M V GZSG w0# w1# C E N GS1 GS0 P, p1a# for one
                           record, w and p for all that begin so, any for every command
  after-sent K             exactly K bytes have been sent to the computer since plugging in
  after-received K         exactly K bytes have been received since plugging in
  after-bytes K            exactly K bytes have passed in both directions together
  at T                     this time has passed since the start: 2.5s or 700ms

What happens on a command:
  ignore                   the command is neither carried out nor answered
  silence                  it is carried out, but not answered
  delay MS                 the answer is sent MS milliseconds later
  chunks SIZE [MS]         the answer is sent in pieces of SIZE bytes, MS between them
  before BYTES             these bytes precede the answer
  within K BYTES           these bytes follow the answer's first K bytes
  after BYTES              these bytes follow the answer
  answer BYTES             these bytes replace the answer
  length N                 the frame of an answer to p or P announces N bytes
  truncate K               only the first K bytes of the answer are sent
  lose K [COUNT]           after the first K bytes of the answer, COUNT bytes (1) are lost
  unplug [replug MS]       the cable is pulled before the command is carried out, and
                           plugged in again after MS milliseconds

What happens after bytes, or at a time (once):
  unplug [replug MS]       as above, after the computer has read what was sent
  plug                     the cable is plugged in
  send BYTES               these bytes are sent at once, in the middle of an answer too
  pause MS                 nothing is sent for MS milliseconds
  lose K                   the next K bytes of the pending answer are lost
  scan SYMBOLOGY DATA      a barcode is scanned; its frame follows the pending answer.
                           SYMBOLOGY is the byte stored, DATA may be in quotation marks

BYTES are hexadecimal, and texts in quotation marks with \xNN, \r, \n, \t, \\. Several rules
may apply to the same command, in the order of the script.

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
  at 2.5s send 03 00 00 06 61 62 63 40     # an unrequested frame
  at 3s scan 0 4006381333931
)";

std::string HelpText() {
  std::string text;
  for (const auto part : {kArgumentsHelp, kConsoleHelp, kEndHelp, kFaultHelp}) text += part;
  return text;
}

}  // namespace quillet::simulator
