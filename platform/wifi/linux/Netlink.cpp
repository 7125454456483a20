#include "platform/wifi/linux/Netlink.h"

#include <linux/genetlink.h>
#include <linux/netlink.h>

#include <cstring>

namespace platform::linuxwifi {

namespace {

[[noreturn]] void refuse(qsizetype offset, const QString& why) {
    throw NetlinkFormatError{offset, why};
}

template <typename T>
T readAt(const QByteArray& bytes, qsizetype at) {
    T value{};
    std::memcpy(&value, bytes.constData() + at, sizeof value);
    return value;
}

constexpr int kMaxErrno = 4095;

constexpr qsizetype align4(qsizetype n) {
    return (n + 3) & ~qsizetype{3};
}

}  // namespace

QString NetlinkFormatError::text() const {
    return offset < 0 ? why : QStringLiteral("byte %1: %2").arg(offset).arg(why);
}

NetlinkAttribute::NetlinkAttribute(const QByteArray* bytes, int type, qsizetype offset, qsizetype begin,
                                   qsizetype end)
    : bytes_(bytes), type_(type), offset_(offset), begin_(begin), end_(end) {}

void NetlinkAttribute::needs(qsizetype bytes, const char* what) const {
    if (size() < bytes) {
        refuse(offset_, QStringLiteral("attribute %1 holds %2 bytes where %3 needs %4")
                            .arg(type_)
                            .arg(size())
                            .arg(QLatin1String(what))
                            .arg(bytes));
    }
}

std::uint8_t NetlinkAttribute::u8() const {
    needs(1, "a u8");
    return readAt<std::uint8_t>(*bytes_, begin_);
}

std::uint16_t NetlinkAttribute::u16() const {
    needs(2, "a u16");
    return readAt<std::uint16_t>(*bytes_, begin_);
}

std::uint32_t NetlinkAttribute::u32() const {
    needs(4, "a u32");
    return readAt<std::uint32_t>(*bytes_, begin_);
}

std::uint64_t NetlinkAttribute::u64() const {
    needs(8, "a u64");
    return readAt<std::uint64_t>(*bytes_, begin_);
}

QByteArray NetlinkAttribute::bytes() const {
    return bytes_->mid(begin_, size());
}

QByteArray NetlinkAttribute::string() const {
    QByteArray text = bytes();
    if (const qsizetype nul = text.indexOf('\0'); nul >= 0) {
        text.truncate(nul);
    }
    return text;
}

std::vector<NetlinkAttribute> NetlinkAttribute::nested() const {
    return readAttributes(*bytes_, begin_, end_, "nested attribute");
}

std::vector<NetlinkAttribute> readAttributes(const QByteArray& bytes, qsizetype begin, qsizetype end,
                                             const char* where) {
    std::vector<NetlinkAttribute> attributes;
    qsizetype at = begin;
    while (at < end) {
        if (end - at < static_cast<qsizetype>(NLA_HDRLEN)) {
            refuse(at, QStringLiteral("%1 bytes left in the %2, too few for an attribute header")
                           .arg(end - at)
                           .arg(QLatin1String(where)));
        }
        const auto header = readAt<nlattr>(bytes, at);
        const qsizetype length = header.nla_len;
        if (length < static_cast<qsizetype>(NLA_HDRLEN)) {
            refuse(at, QStringLiteral("attribute length %1 is shorter than its header").arg(length));
        }
        if (length > end - at) {
            refuse(at, QStringLiteral("attribute %1 of %2 bytes runs past its %3 (%4 bytes left)")
                           .arg(header.nla_type & NLA_TYPE_MASK)
                           .arg(length)
                           .arg(QLatin1String(where))
                           .arg(end - at));
        }
        attributes.emplace_back(&bytes, header.nla_type & NLA_TYPE_MASK, at, at + NLA_HDRLEN, at + length);
        at += std::min(align4(length), end - at);
    }
    return attributes;
}

const NetlinkAttribute* findAttribute(const std::vector<NetlinkAttribute>& attributes, int type) {
    for (const NetlinkAttribute& attribute : attributes) {
        if (attribute.type() == type) {
            return &attribute;
        }
    }
    return nullptr;
}

NetlinkDump readDump(const QByteArray& bytes) {
    NetlinkDump dump;
    qsizetype at = 0;
    const qsizetype size = bytes.size();
    while (at < size) {
        if (size - at < static_cast<qsizetype>(NLMSG_HDRLEN)) {
            refuse(at, QStringLiteral("%1 bytes left, too few for a message header").arg(size - at));
        }
        const auto header = readAt<nlmsghdr>(bytes, at);
        const qsizetype length = header.nlmsg_len;
        if (length < static_cast<qsizetype>(NLMSG_HDRLEN)) {
            refuse(at, QStringLiteral("message length %1 is shorter than its header").arg(length));
        }
        if (length > size - at) {
            refuse(at, QStringLiteral("message of %1 bytes runs past the end (%2 bytes left)")
                           .arg(length)
                           .arg(size - at));
        }
        const qsizetype next = at + std::min(align4(length), size - at);
        if ((header.nlmsg_flags & NLM_F_DUMP_INTR) != 0) {
            dump.interrupted = true;
        }
        if (header.nlmsg_type == NLMSG_DONE || header.nlmsg_type == NLMSG_ERROR) {
            // Both carry an int: 0 for a dump that ended well, else the negative errno.
            if (length < static_cast<qsizetype>(NLMSG_HDRLEN + sizeof(int))) {
                if (header.nlmsg_type == NLMSG_ERROR) {
                    refuse(at,
                           QStringLiteral("an error message of %1 bytes holds no error code").arg(length));
                }
            } else if (const int code = readAt<int>(bytes, at + NLMSG_HDRLEN); code < 0) {
                // The kernel's errnos run from 1 to 4095 (MAX_ERRNO).
                if (code < -kMaxErrno) {
                    refuse(at + NLMSG_HDRLEN, QStringLiteral("error code %1 is no errno").arg(code));
                }
                dump.error = -code;
            } else if (header.nlmsg_type == NLMSG_ERROR) {
                refuse(at, QStringLiteral("an acknowledgement where the dump's end belongs"));
            }
            if (next < size) {
                refuse(next, QStringLiteral("%1 bytes after the dump's end").arg(size - next));
            }
            return dump;
        }
        // Types below NLMSG_MIN_TYPE are netlink's own control messages (NOOP, OVERRUN and reserved
        // ones), never a family's answer.
        if (header.nlmsg_type < NLMSG_MIN_TYPE) {
            refuse(at,
                   QStringLiteral("message type %1 where a dump's message belongs").arg(header.nlmsg_type));
        }
        if (length < static_cast<qsizetype>(NLMSG_HDRLEN + GENL_HDRLEN)) {
            refuse(at, QStringLiteral("message of %1 bytes is too short for its generic netlink header")
                           .arg(length));
        }
        NetlinkMessage message;
        message.offset = at;
        message.type = header.nlmsg_type;
        message.flags = header.nlmsg_flags;
        message.command = readAt<genlmsghdr>(bytes, at + NLMSG_HDRLEN).cmd;
        message.attributes = readAttributes(bytes, at + NLMSG_HDRLEN + GENL_HDRLEN, at + length);
        dump.messages.push_back(std::move(message));
        at = next;
    }
    refuse(size, QStringLiteral("the dump does not end: no NLMSG_DONE"));
}

}  // namespace platform::linuxwifi
