#include "simulator/Fault.h"

namespace quillet::simulator {

std::string_view FaultHelp() {
  return R"(A fault script has one rule per line: when, and what happens then. Empty lines, and
everything from a word that begins with '#', are ignored.

When:
  on COMMAND [N|N+|every]  a command has arrived whole: the N-th time, from the N-th time
                           on, or every time (which is also meant when nothing is said).
                           COMMAND: W M V GZSG w0# w1# C E N GS1 GS0 P, p1a# for one
                           record, w and p for all that begin so, any for every command
  after-sent K             exactly K bytes have been sent to the computer since plugging in
  after-received K         exactly K bytes have been received since plugging in
  after-bytes K            exactly K bytes have passed in both directions together
  at T                     so much time has passed since the start: 2.5s or 700ms

What happens on a command:
  ignore                   the command is neither carried out nor answered
  silence                  it is carried out, but not answered
  delay MS                 the answer comes later by MS milliseconds
  chunks SIZE [MS]         the answer comes in pieces of SIZE bytes, with MS between them
  before BYTES             these bytes come in front of the answer
  within K BYTES           these bytes come behind the answer's first K bytes
  after BYTES              these bytes come behind the answer
  answer BYTES             these bytes come in place of the answer
  length N                 the frame of an answer to p or P announces N bytes
  truncate K               only the first K bytes of the answer come
  lose K [COUNT]           behind the first K bytes of the answer COUNT bytes (1) are lost
  unplug [replug MS]       the cable is pulled before the command is carried out, and put
                           in again after MS milliseconds

What happens after bytes, or at a time (once):
  unplug [replug MS]       as above, after the computer has taken what was sent
  plug                     the cable is put in
  send BYTES               these bytes come at once, in the middle of an answer too
  pause MS                 nothing is sent for MS milliseconds
  lose K                   the next K bytes of the answer under way are lost
  scan SYMBOLOGY DATA      somebody scans a barcode; its frame comes after the answer under
                           way. SYMBOLOGY is the byte stored, DATA may be in quotation marks

BYTES are hexadecimal, and texts in quotation marks with \xNN, \r, \n, \t, \\. Several rules
may hold for the same command; they are applied in the order of the script.

Examples:
  on M 1 silence                           # the first question for the serial number
  on P delay 700
  on P chunks 1 0.2                        # byte by byte
  on N answer 00 00 21 00 40               # 8448 records
  on p1a# length 0
  on V before "garbage" 00 ff
  on E ignore
  after-sent 1234 unplug replug 500
  after-sent 400 pause 50
  at 2.5s send 03 00 00 06 61 62 63 40     # a frame that nobody asked for
  at 3s scan 0 4006381333931
)";
}

}  // namespace quillet::simulator
