#pragma once
// How a network name (SSID) is shown: an SSID is 0 to 32 arbitrary bytes, not necessarily text.

#include <QByteArray>
#include <QString>

namespace platform::linuxwifi {

// The readable text of an SSID, different for every different SSID.
//
// Every well-formed UTF-8 sequence (at most four bytes, no overlong form, no surrogate, at most
// U+10FFFF) whose character is not a control character is shown as that character. Everything
// else is escaped byte by byte as "\xNN" (two lower-case hex digits):
//   - a byte that is not part of a well-formed UTF-8 sequence,
//   - a control character, that is C0 (U+0000 to U+001F, NUL included), DEL (U+007F) and C1
//     (U+0080 to U+009F, two bytes each, so "\xc2\x80" and so on).
// The backslash itself is always shown as "\\", also in a name that is otherwise plain text:
// a backslash therefore only ever starts an escape, and the text reads back to exactly one SSID.
// Other characters (spaces, format characters, emoji) are valid text and are shown as they are.
// The empty SSID gives the empty text. Bytes beyond 32 are shown the same way, never cut off.
QString ssidText(const QByteArray& ssid);

}  // namespace platform::linuxwifi
