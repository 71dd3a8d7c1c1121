#include "simulator/CommandLine.h"
#include "simulator/Console.h"
#include "simulator/Fault.h"

namespace quillet::simulator {

std::string HelpText() {
  std::string text = R"(Usage: tavo-simulator [ARGUMENT VALUE]...

Plays a handheld Tavo barcode scanner behind a new pseudo-terminal, which any program can open
as a serial port. It prints "ready PATH" as its first line as soon as PATH can be opened, and
runs until it is told to stop.

The scanner
  --model old|300          the record layout and the numbers of the symbologies: the older
                           scanners' (the usual) or the 300 series'
  --serial TEXT            its serial number (2104005771; a genuine one has ten characters)
  --firmware TEXT          its firmware version (0.00.41000, in the 300 series 1.00.42010)
  --asset TEXT             its asset number (STOCKROOM-04)
  --terminator @|!         what ends its plain answers (@)

What it holds (with none of these: --records 130; with several: all of it, in this order)
  --csv FILE               the records of a table: lines of symbology,data,time such as
                             EAN-13,4006381333931,2026-11-16 09:15:00
                             0x86,"with, comma",2026-11-16 09:15:04
                             Code 128,tab\x09 and nul\x00,2026-11-16 09:15:09
                             erased,,2026-11-16 09:15:12
                           Symbologies are names, or bytes in decimal or, behind 0x,
                           hexadecimal; lines that begin with # are left out
  --records N              N records of a believable stock-taking
  --extreme N              N records from the edges of what can be stored
  --random N               another stock-taking, other edges (1)

The line
  --link PATH              a symbolic link to the line; another link there is replaced
  --device NODE            serve this existing terminal device, no pseudo-terminal; opened
                           again after a hang-up
  --cooked                 leave the pseudo-terminal as the system makes it, with echo and
                           line editing, as a fresh serial port has; else it is raw
  --speed BITS|unlimited   its speed in bit/s, ten bits per byte (115200)
  --latency MS             from a command to its answer, decimals allowed (2)
  --transcript FILE        write down every byte with its time: seconds, < for received or
                           > for sent, hexadecimal, text; # lines say what happened
  --faults FILE            what shall go wrong, see below

--help                     this text

Values may also be given as ARGUMENT=VALUE.

)";
  text += ConsoleHelp();
  text += R"(
The end of standard input ends the program only if it is a terminal: so it can run in the
background with its input closed. SIGINT, SIGTERM and SIGHUP end it in good order: the link is
removed, the port hangs up. What was received that is no valid command is listed on standard
error then.

Exit codes: 0 ended as told; 1 something could not be done (a file, the line); 2 the arguments
make no sense.

)";
  text += FaultHelp();
  return text;
}

}  // namespace quillet::simulator
