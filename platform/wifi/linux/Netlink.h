#pragma once
// Netlink messages as read from a socket (struct nlmsghdr, then for generic netlink struct
// genlmsghdr and the attributes), in the machine's byte order. Pure functions over bytes: every
// length is checked against its message or its parent attribute, and what does not fit is refused
// with the byte offset and why, never read past.

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

namespace platform::linuxwifi {

// Bytes that are not a well-formed netlink answer: where (offset from the start of the bytes) and
// why.
struct NetlinkFormatError {
    qsizetype offset = 0;  // -1: the bytes as a whole (a file that cannot be read)
    QString why;
    QString text() const;  // "byte <offset>: <why>", or the why alone
};

// One attribute: its type (without the nested and byte-order bits), where its header starts, and
// its payload [begin, end) in the bytes it was read from. The bytes outlive the attribute.
class NetlinkAttribute {
  public:
    NetlinkAttribute(const QByteArray* bytes, int type, qsizetype offset, qsizetype begin, qsizetype end);

    int type() const { return type_; }
    qsizetype offset() const { return offset_; }
    qsizetype size() const { return end_ - begin_; }
    // The payload as a number; a payload shorter than the number refuses.
    std::uint8_t u8() const;
    std::uint16_t u16() const;
    std::uint32_t u32() const;
    std::uint64_t u64() const;
    std::int8_t s8() const { return static_cast<std::int8_t>(u8()); }
    std::int32_t s32() const { return static_cast<std::int32_t>(u32()); }
    QByteArray bytes() const;
    // A NUL-terminated string (the NUL and anything after it left out).
    QByteArray string() const;
    // The attributes nested in the payload; one running past this attribute refuses.
    std::vector<NetlinkAttribute> nested() const;

  private:
    void needs(qsizetype bytes, const char* what) const;

    const QByteArray* bytes_;
    int type_;
    qsizetype offset_;
    qsizetype begin_;
    qsizetype end_;
};

// Reads the attributes of bytes[begin, end). A header shorter than 4 bytes, a length below the
// header or past end refuses; where says what holds them ("message", "nested attribute").
std::vector<NetlinkAttribute> readAttributes(const QByteArray& bytes, qsizetype begin, qsizetype end,
                                             const char* where = "message");

// The first attribute of a type, or none.
const NetlinkAttribute* findAttribute(const std::vector<NetlinkAttribute>& attributes, int type);

// One generic netlink message of a dump.
struct NetlinkMessage {
    qsizetype offset = 0;  // of its nlmsghdr
    std::uint16_t type = 0;
    std::uint16_t flags = 0;
    int command = 0;  // genlmsghdr.cmd
    std::vector<NetlinkAttribute> attributes;
};

// The messages of one dump, in order, up to the NLMSG_DONE that ends it, or the error the kernel
// answered instead (NLMSG_ERROR with a negative errno, or a NLMSG_DONE carrying one).
struct NetlinkDump {
    std::vector<NetlinkMessage> messages;
    std::optional<int> error;  // errno, positive, when the kernel refused the dump
    bool interrupted = false;  // a message carries NLM_F_DUMP_INTR: the kernel's list changed
};

// Reads a dump's bytes. Refuses a message whose length runs past the bytes or is shorter than its
// headers, an attribute past its message, bytes after the end, and a dump that does not end.
NetlinkDump readDump(const QByteArray& bytes);
// The attributes point into the bytes: they must outlive the dump.
NetlinkDump readDump(QByteArray&& bytes) = delete;

}  // namespace platform::linuxwifi
