// How SSIDs are shown: plain UTF-8 as it is, everything else escaped, and no two SSIDs alike.
#include "platform/wifi/linux/SsidText.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

using platform::linuxwifi::ssidText;

namespace {

QByteArray bytes(std::initializer_list<unsigned char> values) {
    QByteArray out;
    for (unsigned char v : values) {
        out.append(static_cast<char>(v));
    }
    return out;
}

// Reads a shown name back into bytes: "\\" is a backslash, "\xNN" a byte, any other character its
// UTF-8 bytes. Fails the test on a backslash that starts no escape.
QByteArray bytesOfText(const QString& text) {
    QByteArray out;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i] != QLatin1Char('\\')) {
            const qsizetype length = text[i].isHighSurrogate() ? 2 : 1;
            out += text.mid(i, length).toUtf8();
            i += length - 1;
        } else if (text.mid(i, 2) == QLatin1String("\\\\")) {
            out += '\\';
            i += 1;
        } else if (text.mid(i, 2) == QLatin1String("\\x") && i + 3 < text.size()) {
            bool ok = false;
            out += static_cast<char>(text.mid(i + 2, 2).toUInt(&ok, 16));
            EXPECT_TRUE(ok) << text.toStdString();
            i += 3;
        } else {
            ADD_FAILURE() << "a backslash that starts no escape in " << text.toStdString();
        }
    }
    return out;
}

}  // namespace

TEST(SsidText, EmptySsidIsEmptyText) {
    EXPECT_EQ(ssidText(QByteArray()), QString());
}

TEST(SsidText, Utf8NameIsShownAsItIs) {
    EXPECT_EQ(ssidText(QByteArray("Caf\xc3\xa9")), QString::fromUtf8("Café"));
    EXPECT_EQ(ssidText(QByteArray("Home Network 5G")), QStringLiteral("Home Network 5G"));
    // A four-byte character (an emoji) and a three-byte one.
    EXPECT_EQ(ssidText(QByteArray("\xf0\x9f\x93\xb6 \xe2\x82\xac")), QString::fromUtf8("📶 €"));
}

TEST(SsidText, Latin1ByteIsEscapedInLowerCaseHex) {
    EXPECT_EQ(ssidText(QByteArray("Caf\xe9")), QStringLiteral("Caf\\xe9"));
}

TEST(SsidText, ThirtyTwoBytesWithNulsAreAllShown) {
    QByteArray ssid(32, '\0');
    ssid[0] = 'A';
    ssid[31] = 'Z';
    const QString text = ssidText(ssid);
    EXPECT_EQ(text, QStringLiteral("A") + QStringLiteral("\\x00").repeated(30) + QStringLiteral("Z"));
}

TEST(SsidText, ControlCharactersAreEscaped) {
    EXPECT_EQ(ssidText(QByteArray("a\tb\nc\x7f")), QStringLiteral("a\\x09b\\x0ac\\x7f"));
    EXPECT_EQ(ssidText(bytes({0x1f, 0x20})), QStringLiteral("\\x1f "));
    // C1 control U+0085 (two bytes) is escaped byte by byte; U+00A0, just past C1, is text.
    EXPECT_EQ(ssidText(bytes({0xc2, 0x85})), QStringLiteral("\\xc2\\x85"));
    EXPECT_EQ(ssidText(bytes({0xc2, 0x9f})), QStringLiteral("\\xc2\\x9f"));
    EXPECT_EQ(ssidText(bytes({0xc2, 0xa0})), QString(QChar(0xa0)));
}

TEST(SsidText, LoneBackslashIsDoubled) {
    EXPECT_EQ(ssidText(QByteArray("\\")), QStringLiteral("\\\\"));
    EXPECT_EQ(ssidText(QByteArray("a\\b")), QStringLiteral("a\\\\b"));
}

TEST(SsidText, InvalidUtf8BytesAreEscapedAndTheRestKept) {
    // A lone continuation byte, a lead byte cut short, and a lead byte followed by plain ASCII.
    EXPECT_EQ(ssidText(bytes({'x', 0x80, 'y'})), QStringLiteral("x\\x80y"));
    EXPECT_EQ(ssidText(bytes({'x', 0xe2, 0x82})), QStringLiteral("x\\xe2\\x82"));
    EXPECT_EQ(ssidText(bytes({0xe2, 'A'})), QStringLiteral("\\xe2A"));
    // Overlong forms, an encoded surrogate, a code point above U+10FFFF, bytes never used.
    EXPECT_EQ(ssidText(bytes({0xc0, 0xaf})), QStringLiteral("\\xc0\\xaf"));
    EXPECT_EQ(ssidText(bytes({0xe0, 0x80, 0xaf})), QStringLiteral("\\xe0\\x80\\xaf"));
    EXPECT_EQ(ssidText(bytes({0xed, 0xa0, 0x80})), QStringLiteral("\\xed\\xa0\\x80"));
    EXPECT_EQ(ssidText(bytes({0xf4, 0x90, 0x80, 0x80})), QStringLiteral("\\xf4\\x90\\x80\\x80"));
    EXPECT_EQ(ssidText(bytes({0xf5, 0xff, 0xfe})), QStringLiteral("\\xf5\\xff\\xfe"));
    // The highest code point, U+10FFFF, is text.
    EXPECT_EQ(ssidText(bytes({0xf4, 0x8f, 0xbf, 0xbf})), QString::fromUcs4(U"\U0010FFFF", 1));
}

TEST(SsidText, EscapedLookingNameDiffersFromTheBytesItSpells) {
    // The name typed as the six characters \x00 is not the one-byte SSID 0x00.
    EXPECT_EQ(ssidText(QByteArray("\\x00")), QStringLiteral("\\\\x00"));
    EXPECT_EQ(ssidText(QByteArray(1, '\0')), QStringLiteral("\\x00"));
    EXPECT_NE(ssidText(QByteArray("\\x00")), ssidText(QByteArray(1, '\0')));
}

TEST(SsidText, TextReadsBackToTheSameBytes) {
    std::mt19937 random(20240601);
    std::uniform_int_distribution<int> length(0, 32);
    std::uniform_int_distribution<int> byte(0, 255);
    // Bytes drawn from a small alphabet of troublemakers, so that escapes and valid sequences mix.
    const unsigned char alphabet[] = {0x00, 0x5c, 'x',  '0',  'a',  0x7f, 0x80, 0xc2, 0xc3,
                                      0xa9, 0xe2, 0x82, 0xac, 0xed, 0xf0, 0x9f, 0xf4, 0xff};
    std::uniform_int_distribution<std::size_t> pick(0, sizeof(alphabet) - 1);
    std::set<QString> texts;
    std::set<QByteArray> ssids;
    for (int round = 0; round < 5000; ++round) {
        QByteArray ssid;
        const int n = length(random);
        for (int i = 0; i < n; ++i) {
            ssid.append(static_cast<char>(round % 2 ? byte(random) : alphabet[pick(random)]));
        }
        const QString text = ssidText(ssid);
        ASSERT_EQ(bytesOfText(text), ssid) << text.toStdString();
        ssids.insert(ssid);
        texts.insert(text);
    }
    EXPECT_EQ(texts.size(), ssids.size());
}
