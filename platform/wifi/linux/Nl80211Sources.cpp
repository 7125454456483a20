#include "platform/wifi/linux/Nl80211Sources.h"

#include "platform/wifi/linux/Problem.h"

#include "platform/wifi/linux/NetlinkBuilder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <linux/genetlink.h>
#include <linux/netlink.h>
#include <linux/nl80211.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace platform::linuxwifi {

namespace {

constexpr int kInterruptedRetries = 5;
constexpr qsizetype kReceiveBuffer = 256 * 1024;

}  // namespace

KernelNl80211Source::KernelNl80211Source(QByteArray family) : familyName_(std::move(family)) {}

KernelNl80211Source::~KernelNl80211Source() {
    closeSocket();
}

void KernelNl80211Source::closeSocket() {
    if (socket_ >= 0) {
        ::close(socket_);
        socket_ = -1;
    }
}

int KernelNl80211Source::openSocket() {
    if (socket_ >= 0) {
        return socket_;
    }
    const int fd = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_GENERIC);
    if (fd < 0) {
        throw Nl80211Missing{
            QStringLiteral("this kernel offers no generic netlink socket (%1)").arg(errnoText(errno))};
    }
    // A kernel that does not answer must not hang a test.
    timeval timeout{2, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    sockaddr_nl local{};
    local.nl_family = AF_NETLINK;
    if (::bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
        const int error = errno;
        ::close(fd);
        throw Nl80211Missing{
            QStringLiteral("cannot bind a generic netlink socket (%1)").arg(errnoText(error))};
    }
    socket_ = fd;
    return fd;
}

QByteArray KernelNl80211Source::exchange(const QByteArray& request, std::uint32_t sequence,
                                         const QString& what) {
    const int fd = openSocket();
    // An answer that failed half-way leaves the kernel's dump running on the socket: a fresh socket
    // for the next one.
    struct CloseUnlessAnswered {
        KernelNl80211Source* source;
        bool answered = false;
        ~CloseUnlessAnswered() {
            if (!answered) {
                source->closeSocket();
            }
        }
    } guard{this};
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    if (::sendto(fd, request.constData(), static_cast<size_t>(request.size()), 0,
                 reinterpret_cast<const sockaddr*>(&kernel), sizeof kernel) < 0) {
        throw Nl80211DumpError{what,
                               {0, QStringLiteral("sending the request failed: %1").arg(errnoText(errno))}};
    }
    QByteArray answer;
    QByteArray buffer(kReceiveBuffer, Qt::Uninitialized);
    for (;;) {
        const ssize_t got = ::recv(fd, buffer.data(), static_cast<size_t>(buffer.size()), MSG_TRUNC);
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            throw Nl80211DumpError{
                what, {answer.size(), QStringLiteral("reading the answer failed: %1").arg(errnoText(errno))}};
        }
        if (got > buffer.size()) {
            throw Nl80211DumpError{
                what,
                {answer.size(),
                 QStringLiteral("a datagram of %1 bytes, more than %2").arg(got).arg(buffer.size())}};
        }
        // Walk the datagram's messages: the answer ends with this request's NLMSG_DONE or error, or
        // with its one message when that is not part of a multi-part answer (the family lookup);
        // messages of another sequence (a late answer) are left out.
        qsizetype at = 0;
        bool ended = false;
        while (at + static_cast<qsizetype>(NLMSG_HDRLEN) <= got) {
            nlmsghdr header{};
            std::memcpy(&header, buffer.constData() + at, sizeof header);
            if (header.nlmsg_len < NLMSG_HDRLEN || header.nlmsg_len > got - at) {
                throw Nl80211DumpError{
                    what, {answer.size() + at, QStringLiteral("a message length past its datagram")}};
            }
            const qsizetype length = std::min<qsizetype>(NLMSG_ALIGN(header.nlmsg_len), got - at);
            if (header.nlmsg_seq == sequence) {
                answer.append(buffer.constData() + at, length);
                ended = ended || header.nlmsg_type == NLMSG_DONE || header.nlmsg_type == NLMSG_ERROR ||
                        (header.nlmsg_flags & NLM_F_MULTI) == 0;
            }
            at += length;
        }
        if (ended) {
            guard.answered = true;
            return answer;
        }
    }
}

std::uint16_t KernelNl80211Source::family() {
    if (family_) {
        return *family_;
    }
    if (missing_) {
        throw Nl80211Missing{*missing_};
    }
    const std::uint32_t sequence = ++sequence_;
    const QByteArray request = NetlinkBuilder()
                                   .message(GENL_ID_CTRL, CTRL_CMD_GETFAMILY, NLM_F_REQUEST, sequence)
                                   .string(CTRL_ATTR_FAMILY_NAME, familyName_)
                                   .build();
    const QByteArray answer = exchange(request, sequence, QStringLiteral("the nl80211 family lookup"));
    nlmsghdr header{};
    std::memcpy(&header, answer.constData(), std::min<size_t>(sizeof header, answer.size()));
    if (header.nlmsg_type == NLMSG_ERROR) {
        int code = 0;
        if (answer.size() >= static_cast<qsizetype>(NLMSG_HDRLEN + sizeof code)) {
            std::memcpy(&code, answer.constData() + NLMSG_HDRLEN, sizeof code);
        }
        code = std::max(code, -4095);  // an errno, as the kernel's are
        const QString family = QString::fromLatin1(familyName_);
        missing_ = code == -ENOENT ? QStringLiteral("this kernel does not offer %1").arg(family)
                                   : QStringLiteral("the kernel refused the %1 family lookup (%2)")
                                         .arg(family, errnoText(-code));
        throw Nl80211Missing{*missing_};
    }
    try {
        const auto attributes = readAttributes(answer, NLMSG_HDRLEN + GENL_HDRLEN,
                                               std::min<qsizetype>(header.nlmsg_len, answer.size()));
        if (const NetlinkAttribute* id = findAttribute(attributes, CTRL_ATTR_FAMILY_ID)) {
            family_ = id->u16();
            return *family_;
        }
    } catch (const NetlinkFormatError& error) {
        throw Nl80211DumpError{QStringLiteral("the nl80211 family lookup"), error};
    }
    throw Nl80211DumpError{QStringLiteral("the nl80211 family lookup"), {0, QStringLiteral("no family ID")}};
}

std::optional<QByteArray> KernelNl80211Source::dump(Nl80211Dump which, std::optional<int> ifindex) {
    std::lock_guard lock(mutex_);
    const std::uint16_t id = family();
    const QString name = nl80211DumpName(which);
    for (int attempt = 0;; ++attempt) {
        const std::uint32_t sequence = ++sequence_;
        NetlinkBuilder request;
        request.message(id, nl80211Command(which), NLM_F_REQUEST | NLM_F_DUMP, sequence);
        if (ifindex &&
            (which == Nl80211Dump::Scan || which == Nl80211Dump::Station || which == Nl80211Dump::Survey)) {
            request.u32(NL80211_ATTR_IFINDEX, static_cast<std::uint32_t>(*ifindex));
        }
        if (which == Nl80211Dump::Wiphy) {
            request.flag(NL80211_ATTR_SPLIT_WIPHY_DUMP);
        }
        QByteArray answer = exchange(request.build(), sequence, name);
        try {
            const NetlinkDump read = readDump(answer);
            if (read.interrupted && attempt < kInterruptedRetries) {
                continue;
            }
            // Busy (a dump of ours still running) or out of buffer space: the kernel did answer,
            // but not this dump, which is no refusal of it.
            if (read.error == EBUSY || read.error == ENOBUFS) {
                throw Nl80211DumpError{
                    name,
                    {0,
                     QStringLiteral("the kernel could not answer the dump: %1").arg(errnoText(*read.error))}};
            }
        } catch (const NetlinkFormatError& error) {
            throw Nl80211DumpError{name, error};
        }
        return answer;
    }
}

RecordingNl80211Source::RecordingNl80211Source(std::shared_ptr<Nl80211Source> source, QString directory)
    : source_(std::move(source)), directory_(std::move(directory)) {}

std::optional<QByteArray> RecordingNl80211Source::dump(Nl80211Dump which, std::optional<int> ifindex) {
    auto answer = source_->dump(which, ifindex);
    if (!answer) {
        return answer;
    }
    const QString path = QDir(directory_).filePath(nl80211DumpName(which));
    std::lock_guard lock(mutex_);
    QSaveFile file(path);
    if (!QDir().mkpath(directory_) || !file.open(QIODevice::WriteOnly) ||
        file.write(*answer) != answer->size() || !file.commit()) {
        writeError_ = QStringLiteral("cannot write %1: %2").arg(path, file.errorString());
    } else {
        ++written_;
    }
    return answer;
}

int RecordingNl80211Source::written() const {
    std::lock_guard lock(mutex_);
    return written_;
}

std::optional<QString> RecordingNl80211Source::writeError() const {
    std::lock_guard lock(mutex_);
    return writeError_;
}

std::shared_ptr<MemoryNl80211Source> loadNl80211Recording(const QString& directory) {
    const QFileInfo info(directory);
    if (!info.isDir()) {
        throw Nl80211DumpError{
            directory,
            {-1, info.exists() ? QStringLiteral("not a directory") : QStringLiteral("no such directory")}};
    }
    std::map<Nl80211Dump, QByteArray> dumps;
    for (const Nl80211Dump which : kAllNl80211Dumps) {
        const QString path = QDir(directory).filePath(nl80211DumpName(which));
        QFile file(path);
        if (!file.exists()) {
            continue;
        }
        if (!file.open(QIODevice::ReadOnly)) {
            throw Nl80211DumpError{path, {-1, QStringLiteral("cannot be read: %1").arg(file.errorString())}};
        }
        QByteArray bytes = file.readAll();
        checkNl80211Dump(which, bytes, path);
        dumps.emplace(which, std::move(bytes));
    }
    return std::make_shared<MemoryNl80211Source>(std::move(dumps));
}

}  // namespace platform::linuxwifi
