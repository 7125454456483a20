#pragma once
// Builds generic netlink messages in the machine's byte order, as a socket carries them: the
// requests the kernel is sent, and the dumps the tests, fuzzers and benchmarks make up.

#include <QByteArray>

#include <cstdint>
#include <vector>

namespace platform::linuxwifi {

class NetlinkBuilder {
  public:
    // Starts a message (nlmsghdr and genlmsghdr); the previous one, if open, is closed first.
    NetlinkBuilder& message(std::uint16_t type, int command, std::uint16_t flags, std::uint32_t sequence = 0);
    NetlinkBuilder& u8(int type, std::uint8_t value);
    NetlinkBuilder& u16(int type, std::uint16_t value);
    NetlinkBuilder& u32(int type, std::uint32_t value);
    NetlinkBuilder& s32(int type, std::int32_t value) { return u32(type, static_cast<std::uint32_t>(value)); }
    NetlinkBuilder& bytes(int type, const QByteArray& value);
    NetlinkBuilder& string(int type, const QByteArray& value);  // NUL-terminated
    NetlinkBuilder& flag(int type);
    // A nested attribute: the attributes until its end() are its payload.
    NetlinkBuilder& begin(int type);
    NetlinkBuilder& end();
    // Closes the open message and answers the bytes so far.
    QByteArray build();
    // Closes the open message, appends NLMSG_DONE (carrying error, 0 or a negative errno) and answers
    // the bytes.
    QByteArray done(int error = 0);

  private:
    void attribute(int type, const void* data, int size);
    void closeMessage();
    void pad();

    QByteArray bytes_;
    qsizetype messageStart_ = -1;
    std::vector<qsizetype> nests_;
};

}  // namespace platform::linuxwifi
