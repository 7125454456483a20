#pragma once
// Where the radio tests' nl80211 dumps come from: the kernel over a generic netlink socket, a
// recording replayed from a directory, and a recorder that writes the kernel's answers to one.
// A recording holds one file per dump (GET_INTERFACE, GET_SCAN, GET_STATION, GET_SURVEY, GET_REG,
// GET_WIPHY): the netlink messages exactly as read from the socket, ending with NLMSG_DONE.

#include "platform/wifi/linux/Nl80211Radio.h"

#include <QString>

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

namespace platform::linuxwifi {

// The kernel's nl80211, read with dumps over a generic netlink socket; no privilege needed. The
// family is looked up on the first dump: where the kernel has none, every dump throws
// Nl80211Missing. A dump the kernel interrupts (its list changed meanwhile) is taken again, up to
// five times. A socket whose answer failed half-way is closed, so the next dump starts afresh.
class KernelNl80211Source final : public Nl80211Source {
  public:
    // family: the generic netlink family the dumps go to ("nl80211"; tests name another).
    explicit KernelNl80211Source(QByteArray family = "nl80211");
    ~KernelNl80211Source() override;
    std::optional<QByteArray> dump(Nl80211Dump dump, std::optional<int> ifindex) override;

  private:
    int openSocket();
    void closeSocket();
    std::uint16_t family();
    QByteArray exchange(const QByteArray& request, std::uint32_t sequence, const QString& what);

    std::mutex mutex_;
    QByteArray familyName_;
    int socket_ = -1;
    std::optional<std::uint16_t> family_;
    std::optional<QString> missing_;  // why there is no nl80211, once known
    std::uint32_t sequence_ = 0;
};

// Writes the answer of every dump it passes on into directory (created when missing), one file per
// dump, replacing an older answer of the same dump.
class RecordingNl80211Source final : public Nl80211Source {
  public:
    RecordingNl80211Source(std::shared_ptr<Nl80211Source> source, QString directory);
    std::optional<QByteArray> dump(Nl80211Dump dump, std::optional<int> ifindex) override;
    // How many dumps were written, and the last write that failed.
    int written() const;
    std::optional<QString> writeError() const;

  private:
    std::shared_ptr<Nl80211Source> source_;
    QString directory_;
    mutable std::mutex mutex_;
    int written_ = 0;
    std::optional<QString> writeError_;
};

// Reads a recording from directory, checking every file: a damaged one (a length past its end, a
// nested attribute past its parent, no NLMSG_DONE) throws Nl80211DumpError naming the file's path.
// A directory that cannot be read throws Nl80211DumpError naming it. A missing file is a dump the
// recording's kernel did not answer.
std::shared_ptr<MemoryNl80211Source> loadNl80211Recording(const QString& directory);

}  // namespace platform::linuxwifi
