#include "platform/wifi/linux/SsidText.h"

#include <cstdint>

namespace platform::linuxwifi {

namespace {

constexpr char32_t kBackslash = 0x5C;

bool isContinuation(std::uint8_t byte) {
    return (byte & 0xC0) == 0x80;
}

bool isControl(char32_t c) {
    return c < 0x20 || (c >= 0x7F && c <= 0x9F);
}

// The length of the well-formed UTF-8 sequence at bytes[at], and its character; 0 when the
// bytes there do not start one.
int decodeOne(const QByteArray& bytes, qsizetype at, char32_t* character) {
    const auto byteAt = [&](qsizetype i) { return static_cast<std::uint8_t>(bytes[i]); };
    const std::uint8_t lead = byteAt(at);
    int length = 0;
    char32_t c = 0;
    char32_t lowest = 0;
    if (lead < 0x80) {
        *character = lead;
        return 1;
    } else if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
        c = lead & 0x1F;
        lowest = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        c = lead & 0x0F;
        lowest = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        c = lead & 0x07;
        lowest = 0x10000;
    } else {
        return 0;
    }
    if (at + length > bytes.size()) {
        return 0;
    }
    for (int i = 1; i < length; ++i) {
        const std::uint8_t next = byteAt(at + i);
        if (!isContinuation(next)) {
            return 0;
        }
        c = (c << 6) | (next & 0x3F);
    }
    if (c < lowest || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
        return 0;
    }
    *character = c;
    return length;
}

void appendEscapedByte(QString& text, std::uint8_t byte) {
    static const char kHex[] = "0123456789abcdef";
    text += QLatin1String("\\x");
    text += QLatin1Char(kHex[byte >> 4]);
    text += QLatin1Char(kHex[byte & 0x0F]);
}

}  // namespace

QString ssidText(const QByteArray& ssid) {
    QString text;
    text.reserve(ssid.size());
    qsizetype at = 0;
    while (at < ssid.size()) {
        char32_t c = 0;
        const int length = decodeOne(ssid, at, &c);
        if (length == 0 || isControl(c)) {
            const int escaped = length == 0 ? 1 : length;
            for (int i = 0; i < escaped; ++i) {
                appendEscapedByte(text, static_cast<std::uint8_t>(ssid[at + i]));
            }
            at += escaped;
        } else if (c == kBackslash) {
            text += QLatin1String("\\\\");
            at += 1;
        } else {
            text += QString::fromUcs4(&c, 1);
            at += length;
        }
    }
    return text;
}

}  // namespace platform::linuxwifi
