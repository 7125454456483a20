#include "platform/wifi/linux/NetlinkBuilder.h"

#include <linux/genetlink.h>
#include <linux/netlink.h>

#include <cstring>

namespace platform::linuxwifi {

namespace {

template <typename T>
void writeAt(QByteArray& bytes, qsizetype at, const T& value) {
    std::memcpy(bytes.data() + at, &value, sizeof value);
}

}  // namespace

void NetlinkBuilder::pad() {
    while (bytes_.size() % 4 != 0) {
        bytes_.append('\0');
    }
}

void NetlinkBuilder::closeMessage() {
    while (!nests_.empty()) {
        end();
    }
    if (messageStart_ >= 0) {
        writeAt(bytes_, messageStart_, static_cast<std::uint32_t>(bytes_.size() - messageStart_));
        messageStart_ = -1;
    }
}

NetlinkBuilder& NetlinkBuilder::message(std::uint16_t type, int command, std::uint16_t flags,
                                        std::uint32_t sequence) {
    closeMessage();
    messageStart_ = bytes_.size();
    nlmsghdr header{};
    header.nlmsg_type = type;
    header.nlmsg_flags = flags;
    header.nlmsg_seq = sequence;
    bytes_.append(reinterpret_cast<const char*>(&header), sizeof header);
    genlmsghdr genl{};
    genl.cmd = static_cast<std::uint8_t>(command);
    genl.version = 1;
    bytes_.append(reinterpret_cast<const char*>(&genl), sizeof genl);
    pad();
    return *this;
}

void NetlinkBuilder::attribute(int type, const void* data, int size) {
    nlattr header{};
    header.nla_len = static_cast<std::uint16_t>(NLA_HDRLEN + size);
    header.nla_type = static_cast<std::uint16_t>(type);
    bytes_.append(reinterpret_cast<const char*>(&header), sizeof header);
    bytes_.append(static_cast<const char*>(data), size);
    pad();
}

NetlinkBuilder& NetlinkBuilder::u8(int type, std::uint8_t value) {
    attribute(type, &value, sizeof value);
    return *this;
}

NetlinkBuilder& NetlinkBuilder::u16(int type, std::uint16_t value) {
    attribute(type, &value, sizeof value);
    return *this;
}

NetlinkBuilder& NetlinkBuilder::u32(int type, std::uint32_t value) {
    attribute(type, &value, sizeof value);
    return *this;
}

NetlinkBuilder& NetlinkBuilder::bytes(int type, const QByteArray& value) {
    attribute(type, value.constData(), static_cast<int>(value.size()));
    return *this;
}

NetlinkBuilder& NetlinkBuilder::string(int type, const QByteArray& value) {
    const QByteArray terminated = value + '\0';
    attribute(type, terminated.constData(), static_cast<int>(terminated.size()));
    return *this;
}

NetlinkBuilder& NetlinkBuilder::flag(int type) {
    attribute(type, nullptr, 0);
    return *this;
}

NetlinkBuilder& NetlinkBuilder::begin(int type) {
    nests_.push_back(bytes_.size());
    nlattr header{};
    header.nla_type = static_cast<std::uint16_t>(type | NLA_F_NESTED);
    bytes_.append(reinterpret_cast<const char*>(&header), sizeof header);
    return *this;
}

NetlinkBuilder& NetlinkBuilder::end() {
    const qsizetype start = nests_.back();
    nests_.pop_back();
    writeAt(bytes_, start, static_cast<std::uint16_t>(bytes_.size() - start));
    return *this;
}

QByteArray NetlinkBuilder::build() {
    closeMessage();
    return bytes_;
}

QByteArray NetlinkBuilder::done(int error) {
    closeMessage();
    nlmsghdr header{};
    header.nlmsg_len = NLMSG_HDRLEN + sizeof(int);
    header.nlmsg_type = NLMSG_DONE;
    header.nlmsg_flags = NLM_F_MULTI;
    bytes_.append(reinterpret_cast<const char*>(&header), sizeof header);
    bytes_.append(reinterpret_cast<const char*>(&error), sizeof error);
    return bytes_;
}

}  // namespace platform::linuxwifi
