// The netlink reader and builder: dumps built here read back message by message and attribute by
// attribute, and every malformed layout is refused at the byte where it goes wrong.
#include "platform/wifi/linux/Netlink.h"
#include "platform/wifi/linux/NetlinkBuilder.h"
#include "unittests/linux/support/RadioFixtures.h"

#include <linux/genetlink.h>
#include <linux/netlink.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstring>

using namespace platform::linuxwifi;

namespace {

constexpr std::uint16_t kFamily = radiofixtures::kFixtureFamily;
constexpr int kCommand = 34;

// The error readDump refuses bytes with; fails the test when it reads them.
NetlinkFormatError refusal(const QByteArray& bytes) {
    try {
        const NetlinkDump dump = readDump(bytes);
        ADD_FAILURE() << "read " << dump.messages.size() << " messages where a refusal was expected";
    } catch (const NetlinkFormatError& error) {
        return error;
    }
    return {};
}

void putU32(QByteArray& bytes, qsizetype at, std::uint32_t value) {
    std::memcpy(bytes.data() + at, &value, sizeof value);
}

void putU16(QByteArray& bytes, qsizetype at, std::uint16_t value) {
    std::memcpy(bytes.data() + at, &value, sizeof value);
}

std::uint16_t u16At(const QByteArray& bytes, qsizetype at) {
    std::uint16_t value = 0;
    std::memcpy(&value, bytes.constData() + at, sizeof value);
    return value;
}

// A message laid out by hand: nlmsghdr (the length as given, or the real one), genlmsghdr, payload,
// padded to four bytes.
QByteArray rawMessage(std::uint16_t type, const QByteArray& payload,
                      std::optional<std::uint32_t> length = {}) {
    nlmsghdr header{};
    header.nlmsg_len = length.value_or(NLMSG_HDRLEN + GENL_HDRLEN + payload.size());
    header.nlmsg_type = type;
    header.nlmsg_flags = NLM_F_MULTI;
    genlmsghdr genl{};
    genl.cmd = kCommand;
    QByteArray out(reinterpret_cast<const char*>(&header), sizeof header);
    out.append(reinterpret_cast<const char*>(&genl), sizeof genl);
    out.append(payload);
    while (out.size() % 4 != 0) {
        out.append('\0');
    }
    return out;
}

QByteArray rawAttribute(std::uint16_t length, std::uint16_t type, const QByteArray& payload) {
    QByteArray out(4, '\0');
    putU16(out, 0, length);
    putU16(out, 2, type);
    return out + payload;
}

const QByteArray kDone = NetlinkBuilder().done();

}  // namespace

TEST(NetlinkBuilder, LaysOutHeadersLengthsAndPadding) {
    const QByteArray bytes =
        NetlinkBuilder().message(kFamily, kCommand, NLM_F_MULTI, 9).u8(1, 7).string(2, "ab").build();
    // nlmsghdr (16), genlmsghdr (4), u8 attribute (5, padded to 8), string "ab\0" (7, padded to 8).
    ASSERT_EQ(bytes.size(), 36);
    nlmsghdr header{};
    std::memcpy(&header, bytes.constData(), sizeof header);
    EXPECT_EQ(header.nlmsg_len, 36u);
    EXPECT_EQ(header.nlmsg_type, kFamily);
    EXPECT_EQ(header.nlmsg_flags, NLM_F_MULTI);
    EXPECT_EQ(header.nlmsg_seq, 9u);
    EXPECT_EQ(static_cast<int>(bytes.at(16)), kCommand);
    EXPECT_EQ(u16At(bytes, 20), 5);  // the u8 attribute's length leaves its padding out
    EXPECT_EQ(u16At(bytes, 28), 7);  // the string's length counts its NUL
    EXPECT_EQ(bytes.mid(32, 4), QByteArray("ab\0\0", 4));
}

TEST(NetlinkBuilder, DoneEndsTheDumpWithItsErrorCode) {
    const QByteArray bytes = NetlinkBuilder().done(-EBUSY);
    ASSERT_EQ(bytes.size(), 20);
    nlmsghdr header{};
    std::memcpy(&header, bytes.constData(), sizeof header);
    EXPECT_EQ(header.nlmsg_type, NLMSG_DONE);
    EXPECT_EQ(header.nlmsg_len, 20u);
    int code = 0;
    std::memcpy(&code, bytes.constData() + 16, sizeof code);
    EXPECT_EQ(code, -EBUSY);
}

TEST(Netlink, ReadsMessagesAndEveryKindOfAttribute) {
    const QByteArray eight = QByteArray::fromHex("0102030405060708");
    const QByteArray bytes = NetlinkBuilder()
                                 .message(kFamily, kCommand, NLM_F_MULTI)
                                 .u8(1, 0xfe)
                                 .u16(2, 0xbeef)
                                 .u32(3, 0xdeadbeef)
                                 .bytes(4, eight)
                                 .s32(5, -4200)
                                 .string(6, "wlan0")
                                 .flag(7)
                                 .begin(8)
                                 .u32(1, 11)
                                 .begin(2)
                                 .u8(3, 12)
                                 .end()
                                 .end()
                                 .message(kFamily, kCommand + 1, NLM_F_MULTI)
                                 .u32(1, 5)
                                 .done();
    const NetlinkDump dump = readDump(bytes);
    EXPECT_FALSE(dump.error.has_value());
    EXPECT_FALSE(dump.interrupted);
    ASSERT_EQ(dump.messages.size(), 2u);
    const NetlinkMessage& first = dump.messages[0];
    EXPECT_EQ(first.offset, 0);
    EXPECT_EQ(first.type, kFamily);
    EXPECT_EQ(first.flags, NLM_F_MULTI);
    EXPECT_EQ(first.command, kCommand);
    const auto& a = first.attributes;
    ASSERT_EQ(a.size(), 8u);
    EXPECT_EQ(a[0].type(), 1);
    EXPECT_EQ(a[0].offset(), 20);
    EXPECT_EQ(a[0].size(), 1);
    EXPECT_EQ(a[0].u8(), 0xfe);
    EXPECT_EQ(a[0].s8(), -2);
    EXPECT_EQ(a[1].u16(), 0xbeef);
    EXPECT_EQ(a[2].u32(), 0xdeadbeefu);
    EXPECT_EQ(a[3].bytes(), eight);
    std::uint64_t expected = 0;
    std::memcpy(&expected, eight.constData(), sizeof expected);
    EXPECT_EQ(a[3].u64(), expected);
    EXPECT_EQ(a[4].s32(), -4200);
    EXPECT_EQ(a[5].string(), "wlan0");
    EXPECT_EQ(a[5].size(), 6);  // the NUL is part of the payload
    EXPECT_EQ(a[6].size(), 0);
    // The nested bit is not part of the type.
    EXPECT_EQ(a[7].type(), 8);
    const auto nested = a[7].nested();
    ASSERT_EQ(nested.size(), 2u);
    EXPECT_EQ(nested[0].u32(), 11u);
    const auto inner = nested[1].nested();
    ASSERT_EQ(inner.size(), 1u);
    EXPECT_EQ(inner[0].u8(), 12);

    const NetlinkMessage& second = dump.messages[1];
    // Headers 20, u8 8, u16 8, u32 8, eight bytes 12, s32 8, "wlan0" 12, flag 4, the nest 24.
    EXPECT_EQ(second.offset, 104);
    EXPECT_EQ(second.command, kCommand + 1);
    ASSERT_EQ(second.attributes.size(), 1u);
    EXPECT_EQ(second.attributes[0].u32(), 5u);
}

TEST(Netlink, TheByteOrderBitIsNotPartOfTheType) {
    const QByteArray bytes =
        rawMessage(kFamily, rawAttribute(8, 3 | NLA_F_NET_BYTEORDER, QByteArray("\0\0\0\1", 4))) + kDone;
    const NetlinkDump dump = readDump(bytes);
    ASSERT_EQ(dump.messages.size(), 1u);
    ASSERT_EQ(dump.messages[0].attributes.size(), 1u);
    EXPECT_EQ(dump.messages[0].attributes[0].type(), 3);
}

TEST(Netlink, StringStopsAtItsFirstNulAndTakesAllWithoutOne) {
    const QByteArray bytes = NetlinkBuilder()
                                 .message(kFamily, kCommand, 0)
                                 .bytes(1, QByteArray("ab\0cd", 5))
                                 .bytes(2, "xyz")
                                 .done();
    const auto attributes = readDump(bytes).messages.at(0).attributes;
    EXPECT_EQ(attributes.at(0).string(), "ab");
    EXPECT_EQ(attributes.at(1).string(), "xyz");
}

TEST(Netlink, FindAttributeAnswersTheFirstOfATypeOrNone) {
    const QByteArray bytes = NetlinkBuilder().message(kFamily, kCommand, 0).u8(4, 1).u8(4, 2).u8(5, 3).done();
    const auto attributes = readDump(bytes).messages.at(0).attributes;
    const NetlinkAttribute* four = findAttribute(attributes, 4);
    ASSERT_NE(four, nullptr);
    EXPECT_EQ(four->u8(), 1);
    EXPECT_EQ(findAttribute(attributes, 6), nullptr);
    EXPECT_EQ(findAttribute({}, 4), nullptr);
}

TEST(Netlink, AnEmptyDumpIsItsDoneAlone) {
    const NetlinkDump dump = readDump(kDone);
    EXPECT_TRUE(dump.messages.empty());
    EXPECT_FALSE(dump.error.has_value());
    EXPECT_FALSE(dump.interrupted);
}

TEST(Netlink, ADoneWithoutItsErrorCodeStillEndsTheDump) {
    nlmsghdr header{};
    header.nlmsg_len = NLMSG_HDRLEN;
    header.nlmsg_type = NLMSG_DONE;
    const QByteArray done(reinterpret_cast<const char*>(&header), sizeof header);
    const QByteArray bytes = rawMessage(kFamily, {}) + done;
    const NetlinkDump dump = readDump(bytes);
    EXPECT_EQ(dump.messages.size(), 1u);
    EXPECT_FALSE(dump.error.has_value());
}

TEST(Netlink, TheKernelsRefusalIsItsErrno) {
    const QByteArray refusal = radiofixtures::refusedDump(EOPNOTSUPP);
    const NetlinkDump refused = readDump(refusal);
    EXPECT_TRUE(refused.messages.empty());
    EXPECT_EQ(refused.error, EOPNOTSUPP);

    // A dump that fails half-way ends with a NLMSG_DONE carrying the errno; the messages before it
    // are kept.
    const QByteArray failed =
        NetlinkBuilder().message(kFamily, kCommand, NLM_F_MULTI).u8(1, 1).done(-ENOBUFS);
    const NetlinkDump halfWay = readDump(failed);
    EXPECT_EQ(halfWay.messages.size(), 1u);
    EXPECT_EQ(halfWay.error, ENOBUFS);
}

TEST(Netlink, AnAcknowledgementIsNoEndOfADump) {
    QByteArray ack = radiofixtures::refusedDump(EOPNOTSUPP);
    putU32(ack, NLMSG_HDRLEN, 0);
    const NetlinkFormatError error = refusal(ack);
    EXPECT_EQ(error.offset, 0);
    EXPECT_EQ(error.why, "an acknowledgement where the dump's end belongs");
}

TEST(Netlink, AnErrorMessageWithoutItsCodeIsRefused) {
    nlmsghdr header{};
    header.nlmsg_len = NLMSG_HDRLEN;
    header.nlmsg_type = NLMSG_ERROR;
    const QByteArray bytes =
        rawMessage(kFamily, {}) + QByteArray(reinterpret_cast<const char*>(&header), sizeof header);
    const NetlinkFormatError error = refusal(bytes);
    EXPECT_EQ(error.offset, 20);
    EXPECT_EQ(error.why, "an error message of 16 bytes holds no error code");
}

TEST(Netlink, TheInterruptedFlagOfAnyMessageIsKept) {
    QByteArray bytes = NetlinkBuilder()
                           .message(kFamily, kCommand, NLM_F_MULTI)
                           .u8(1, 1)
                           .message(kFamily, kCommand, NLM_F_MULTI | NLM_F_DUMP_INTR)
                           .u8(1, 2)
                           .done();
    const NetlinkDump interrupted = readDump(bytes);
    EXPECT_TRUE(interrupted.interrupted);
    EXPECT_EQ(interrupted.messages.size(), 2u);
    const QByteArray whole = NetlinkBuilder().message(kFamily, kCommand, NLM_F_MULTI).u8(1, 1).done();
    EXPECT_FALSE(readDump(whole).interrupted);
    // The kernel may also flag the NLMSG_DONE alone.
    QByteArray doneFlagged = kDone;
    putU16(doneFlagged, 6, NLM_F_MULTI | NLM_F_DUMP_INTR);
    EXPECT_TRUE(readDump(doneFlagged).interrupted);
}

TEST(NetlinkMalformed, AMessageLengthPastTheEnd) {
    QByteArray bytes = NetlinkBuilder().message(kFamily, kCommand, 0).u32(1, 1).done();
    putU32(bytes, 0, static_cast<std::uint32_t>(bytes.size() + 4));
    const NetlinkFormatError error = refusal(bytes);
    EXPECT_EQ(error.offset, 0);
    EXPECT_EQ(error.why, QStringLiteral("message of %1 bytes runs past the end (%2 bytes left)")
                             .arg(bytes.size() + 4)
                             .arg(bytes.size()));
    EXPECT_EQ(error.text(), QStringLiteral("byte 0: ") + error.why);
    // An error of the bytes as a whole has no place to name.
    EXPECT_EQ((NetlinkFormatError{-1, QStringLiteral("cannot be read")}.text()), "cannot be read");
}

TEST(NetlinkMalformed, FewerBytesThanAMessageHeader) {
    EXPECT_EQ(refusal(QByteArray(10, '\0')).why, "10 bytes left, too few for a message header");
    const QByteArray message = rawMessage(kFamily, {});
    const NetlinkFormatError error = refusal(message + QByteArray(8, '\0'));
    EXPECT_EQ(error.offset, message.size());
    EXPECT_EQ(error.why, "8 bytes left, too few for a message header");
}

TEST(NetlinkMalformed, AMessageLengthShorterThanItsHeaders) {
    const NetlinkFormatError belowHeader = refusal(rawMessage(kFamily, {}, 8) + kDone);
    EXPECT_EQ(belowHeader.offset, 0);
    EXPECT_EQ(belowHeader.why, "message length 8 is shorter than its header");
    // Long enough for nlmsghdr, too short for genlmsghdr.
    const NetlinkFormatError belowGenl = refusal(rawMessage(kFamily, {}, NLMSG_HDRLEN).left(16) + kDone);
    EXPECT_EQ(belowGenl.offset, 0);
    EXPECT_EQ(belowGenl.why, "message of 16 bytes is too short for its generic netlink header");
}

TEST(NetlinkMalformed, AMessageTypeThatBelongsToNoDump) {
    const NetlinkFormatError error = refusal(rawMessage(NLMSG_NOOP, {}) + kDone);
    EXPECT_EQ(error.offset, 0);
    EXPECT_EQ(error.why, "message type 1 where a dump's message belongs");
    // The other control types, reserved ones included, are no family's answer either.
    for (const std::uint16_t type : {0, NLMSG_OVERRUN, 5, NLMSG_MIN_TYPE - 1}) {
        EXPECT_EQ(refusal(rawMessage(type, {}) + kDone).why,
                  QStringLiteral("message type %1 where a dump's message belongs").arg(type));
    }
    const QByteArray first = rawMessage(NLMSG_MIN_TYPE, {}) + kDone;
    EXPECT_EQ(readDump(first).messages.size(), 1u);
}

TEST(NetlinkMalformed, AnAttributePastItsMessage) {
    const QByteArray bytes = rawMessage(kFamily, rawAttribute(12, 1, "abcd")) + kDone;
    const NetlinkFormatError error = refusal(bytes);
    EXPECT_EQ(error.offset, 20);
    EXPECT_EQ(error.why, "attribute 1 of 12 bytes runs past its message (8 bytes left)");
}

TEST(NetlinkMalformed, AnAttributeLengthShorterThanItsHeader) {
    const NetlinkFormatError error = refusal(rawMessage(kFamily, rawAttribute(2, 1, "abcd")) + kDone);
    EXPECT_EQ(error.offset, 20);
    EXPECT_EQ(error.why, "attribute length 2 is shorter than its header");
}

TEST(NetlinkMalformed, TooFewBytesForAnAttributeHeader) {
    const NetlinkFormatError error = refusal(rawMessage(kFamily, QByteArray(2, '\x01')) + kDone);
    EXPECT_EQ(error.offset, 20);
    EXPECT_EQ(error.why, "2 bytes left in the message, too few for an attribute header");
}

TEST(NetlinkMalformed, ANestedAttributePastItsParent) {
    QByteArray bytes =
        NetlinkBuilder().message(kFamily, kCommand, 0).begin(1).u32(2, 5).end().u32(3, 6).done();
    // The inner attribute (at 24, eight bytes) claims twelve: still inside the message, but past its
    // parent, so the message reads and the parent's contents refuse.
    putU16(bytes, 24, 12);
    const NetlinkDump dump = readDump(bytes);
    const NetlinkAttribute& parent = dump.messages.at(0).attributes.at(0);
    try {
        parent.nested();
        ADD_FAILURE() << "the nested attribute past its parent was read";
    } catch (const NetlinkFormatError& error) {
        EXPECT_EQ(error.offset, 24);
        EXPECT_EQ(error.why, "attribute 2 of 12 bytes runs past its nested attribute (8 bytes left)");
    }
    // readAttributes says what holds the attributes.
    try {
        readAttributes(bytes, 24, 32, "band");
        ADD_FAILURE() << "the attribute past its holder was read";
    } catch (const NetlinkFormatError& error) {
        EXPECT_TRUE(error.why.endsWith("runs past its band (8 bytes left)")) << error.why.toStdString();
    }
}

TEST(NetlinkMalformed, ANumberLongerThanItsAttribute) {
    const QByteArray bytes =
        NetlinkBuilder().message(kFamily, kCommand, 0).u16(1, 7).flag(2).bytes(3, "abcdefg").done();
    const auto a = readDump(bytes).messages.at(0).attributes;
    EXPECT_EQ(a.at(0).u16(), 7);
    EXPECT_EQ(a.at(0).u8(), 7);  // a shorter number reads the payload's first bytes
    try {
        a.at(0).u32();
        ADD_FAILURE() << "a u32 was read from two bytes";
    } catch (const NetlinkFormatError& error) {
        EXPECT_EQ(error.offset, 20);
        EXPECT_EQ(error.why, "attribute 1 holds 2 bytes where a u32 needs 4");
    }
    EXPECT_THROW(a.at(1).u8(), NetlinkFormatError);
    EXPECT_THROW(a.at(1).s8(), NetlinkFormatError);
    EXPECT_THROW(a.at(2).u64(), NetlinkFormatError);
    EXPECT_EQ(a.at(2).s32(), static_cast<std::int32_t>(a.at(2).u32()));
}

TEST(NetlinkMalformed, ADumpWithoutItsEnd) {
    const QByteArray bytes = NetlinkBuilder().message(kFamily, kCommand, 0).u8(1, 1).build();
    const NetlinkFormatError error = refusal(bytes);
    EXPECT_EQ(error.offset, bytes.size());
    EXPECT_EQ(error.why, "the dump does not end: no NLMSG_DONE");
    EXPECT_EQ(refusal(QByteArray()).why, "the dump does not end: no NLMSG_DONE");
}

TEST(NetlinkMalformed, BytesAfterTheEnd) {
    const QByteArray dump = NetlinkBuilder().message(kFamily, kCommand, 0).u8(1, 1).done();
    const NetlinkFormatError error = refusal(dump + rawMessage(kFamily, {}));
    EXPECT_EQ(error.offset, dump.size());
    EXPECT_EQ(error.why, "20 bytes after the dump's end");
    const NetlinkFormatError afterRefusal = refusal(radiofixtures::refusedDump(EPERM) + kDone);
    EXPECT_EQ(afterRefusal.why, "20 bytes after the dump's end");
}

TEST(NetlinkMalformed, EveryCutOfAWellFormedDumpIsRefused) {
    const QByteArray bytes = NetlinkBuilder()
                                 .message(kFamily, kCommand, NLM_F_MULTI)
                                 .u32(1, 1)
                                 .begin(2)
                                 .string(1, "nested")
                                 .end()
                                 .message(kFamily, kCommand, NLM_F_MULTI)
                                 .u8(1, 1)
                                 .done();
    ASSERT_NO_THROW(readDump(bytes));
    for (qsizetype n = 0; n < bytes.size(); ++n) {
        const NetlinkFormatError error = refusal(bytes.left(n));
        EXPECT_LE(error.offset, n) << "cut after " << n << " bytes";
        EXPECT_FALSE(error.why.isEmpty()) << "cut after " << n << " bytes";
    }
}

TEST(NetlinkMalformed, AnErrorCodeBeyondTheErrnosIsRefused) {
    const QByteArray bytes = NetlinkBuilder().message(kFamily, kCommand, NLM_F_MULTI).u8(1, 1).done(INT_MIN);
    const NetlinkFormatError error = refusal(bytes);
    EXPECT_EQ(error.why, "error code -2147483648 is no errno");
    EXPECT_EQ(error.offset, bytes.size() - 4);
    const QByteArray largest = NetlinkBuilder().done(-4095);
    EXPECT_EQ(readDump(largest).error, 4095);
}
