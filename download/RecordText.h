#pragma once

#include <string>
#include <string_view>

namespace quillet {

/// Makes a composed line into UTF-8 text. Records are 7-bit ASCII as a rule. One with bytes above
/// 0x7F is taken as UTF-8 when it is valid UTF-8; otherwise each such byte stands for the Latin-1
/// character of its value, so that nothing scanned is lost or refused.
/// @param bytes  the composed line
/// @param text   receives the text; its memory is used again from call to call
void DecodeRecordText(std::string_view bytes, std::string& text);

}  // namespace quillet
