#pragma once
// What the tests against the real NetworkManager share: whether this process runs inside
// realnm.sh's namespace (the tests are skipped, with the reason, when it does not), the daemon's
// bus, and plain QtDBus calls for what the tests set up and for raw reads that stand beside the
// project's readers (so a reader is never checked against itself).

#include "platform/wifi/linux/NetworkManagerClient.h"

#include <QByteArray>
#include <QDBusConnection>
#include <QMap>
#include <QMetaType>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>

#include <gtest/gtest.h>

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace realnm {

// A connection's settings as Settings.AddConnection takes them and GetSettings answers (a{sa{sv}}).
using Settings = QMap<QString, QVariantMap>;

inline const QString kProperties = QStringLiteral("org.freedesktop.DBus.Properties");

// Why the daemon is not there to test against, or nothing when it is (realnm.sh started it).
std::optional<std::string> unavailable();
// Whether realnm.sh started the daemon with its connectivity check on (--connectivity).
bool checkingOn();
// Whether the namespace maps a user other than root that a test may act as (realnm.sh run by
// root maps the users 0 to 65535; otherwise only root is mapped).
bool otherUsersMapped();

// The daemon's bus (the private system bus of realnm.sh).
QDBusConnection bus();

// Raw reads and calls over plain QtDBus. Each fails the current test (and answers an empty value)
// when the daemon answers an error.
QVariant property(const QString& path, const QString& interface, const QString& name);
QVariantMap properties(const QString& path, const QString& interface);
void setProperty(const QString& path, const QString& interface, const QString& name, const QVariant& value);
QStringList devicePaths();
// Settings.AddConnection (saved to disk); answers the new connection's path.
QString addConnection(const Settings& settings);
void deleteConnection(const QString& path);
// Settings.Connection.GetSettings, as it came.
Settings rawSettings(const QString& path);
// ActivateConnection of a saved connection on a device; answers the active connection's path.
QString activateConnection(const QString& connectionPath, const QString& devicePath);
void deactivateConnection(const QString& activePath);

// A Wi-Fi connection's settings with the given id, uuid and SSID and nothing else.
Settings wifiConnection(const QString& id, const QString& uuid, const QByteArray& ssid);

// Runs a program in this namespace (ip, to add or remove links); fails the test on a non-zero exit.
void run(const QString& program, const QStringList& arguments);

// Polls until done() holds or timeout passes; answers done().
bool waitUntil(const std::function<bool()>& done,
               std::chrono::milliseconds timeout = std::chrono::milliseconds(5000));

// The path of the device with the given interface name (empty when the daemon lists none).
QString devicePathOf(const QString& interfaceName);

// While one lives, the process acts as another user (its real and effective user ids; the saved
// one stays root so that it can become root again). A bus connection opened meanwhile is that
// user's for as long as it lasts.
class ActingAs {
  public:
    explicit ActingAs(uid_t uid);
    ~ActingAs();
    ActingAs(const ActingAs&) = delete;
    ActingAs& operator=(const ActingAs&) = delete;
    bool ok() const { return ok_; }

  private:
    bool ok_ = false;
};

// A bus connection of its own to the daemon's bus, opened as the given user; its name is unique
// in the process.
QDBusConnection busAs(uid_t uid, const QString& name);

// The base of every test here: skipped unless the daemon runs; client() reads through the
// project's NetworkManagerClient.
class RealNmTest : public ::testing::Test {
  protected:
    void SetUp() override;
    static platform::linuxwifi::NetworkManagerClient client();
};

inline std::string str(const QString& text) {
    return text.toStdString();
}

}  // namespace realnm

Q_DECLARE_METATYPE(realnm::Settings)
