#include "unittests/linux/realnm/RealNetworkManager.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QDBusVariant>
#include <QProcess>

#include <unistd.h>

#include <thread>

namespace realnm {

namespace {

const QString kService = QStringLiteral("org.freedesktop.NetworkManager");
const QString kManagerPath = QStringLiteral("/org/freedesktop/NetworkManager");
const QString kSettingsPath = QStringLiteral("/org/freedesktop/NetworkManager/Settings");
const QString kSettingsInterface = QStringLiteral("org.freedesktop.NetworkManager.Settings");
const QString kConnectionInterface = QStringLiteral("org.freedesktop.NetworkManager.Settings.Connection");
constexpr int kCallTimeoutMs = 10000;

QByteArray env(const char* name) {
    return qgetenv(name);
}

// Calls a method of the daemon; a failed call fails the test and answers an empty message list.
QList<QVariant> call(const QString& path, const QString& interface, const QString& method,
                     const QVariantList& arguments) {
    QDBusMessage message = QDBusMessage::createMethodCall(kService, path, interface, method);
    message.setArguments(arguments);
    const QDBusMessage reply = bus().call(message, QDBus::Block, kCallTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        ADD_FAILURE() << str(interface) << "." << str(method) << " at " << str(path) << ": "
                      << str(reply.errorName()) << ": " << str(reply.errorMessage());
        return {};
    }
    return reply.arguments();
}

}  // namespace

std::optional<std::string> unavailable() {
    if (env("REALNM") != "1" || env("DBUS_SYSTEM_BUS_ADDRESS").isEmpty()) {
        return "no real NetworkManager to test against: run this binary through "
               "unittests/linux/realnm/realnm.sh, as ctest does";
    }
    return std::nullopt;
}

bool checkingOn() {
    return env("REALNM_CONNECTIVITY") == "on";
}

bool otherUsersMapped() {
    return env("REALNM_USERS") == "wide";
}

QDBusConnection bus() {
    static const bool registered = [] {
        qDBusRegisterMetaType<Settings>();
        qDBusRegisterMetaType<QList<QVariantMap>>();  // aa{sv}: address-data
        return true;
    }();
    (void)registered;
    return QDBusConnection::systemBus();
}

QVariant property(const QString& path, const QString& interface, const QString& name) {
    const auto answer = call(path, kProperties, QStringLiteral("Get"), {interface, name});
    return answer.isEmpty() ? QVariant() : answer.front().value<QDBusVariant>().variant();
}

QVariantMap properties(const QString& path, const QString& interface) {
    const auto answer = call(path, kProperties, QStringLiteral("GetAll"), {interface});
    if (answer.isEmpty()) {
        return {};
    }
    QVariantMap out;
    answer.front().value<QDBusArgument>() >> out;
    return out;
}

void setProperty(const QString& path, const QString& interface, const QString& name, const QVariant& value) {
    call(path, kProperties, QStringLiteral("Set"),
         {interface, name, QVariant::fromValue(QDBusVariant(value))});
}

QStringList devicePaths() {
    const auto answer = call(kManagerPath, QStringLiteral("org.freedesktop.NetworkManager"),
                             QStringLiteral("GetDevices"), {});
    QStringList out;
    if (answer.isEmpty()) {
        return out;
    }
    QList<QDBusObjectPath> paths;
    answer.front().value<QDBusArgument>() >> paths;
    for (const QDBusObjectPath& path : paths) {
        out << path.path();
    }
    return out;
}

QString addConnection(const Settings& settings) {
    const auto answer = call(kSettingsPath, kSettingsInterface, QStringLiteral("AddConnection"),
                             {QVariant::fromValue(settings)});
    return answer.isEmpty() ? QString() : answer.front().value<QDBusObjectPath>().path();
}

void deleteConnection(const QString& path) {
    call(path, kConnectionInterface, QStringLiteral("Delete"), {});
}

Settings rawSettings(const QString& path) {
    const auto answer = call(path, kConnectionInterface, QStringLiteral("GetSettings"), {});
    Settings out;
    if (!answer.isEmpty()) {
        answer.front().value<QDBusArgument>() >> out;
    }
    return out;
}

QString activateConnection(const QString& connectionPath, const QString& devicePath) {
    const auto answer = call(kManagerPath, QStringLiteral("org.freedesktop.NetworkManager"),
                             QStringLiteral("ActivateConnection"),
                             {QVariant::fromValue(QDBusObjectPath(connectionPath)),
                              QVariant::fromValue(QDBusObjectPath(devicePath)),
                              QVariant::fromValue(QDBusObjectPath(QStringLiteral("/")))});
    return answer.isEmpty() ? QString() : answer.front().value<QDBusObjectPath>().path();
}

void deactivateConnection(const QString& activePath) {
    call(kManagerPath, QStringLiteral("org.freedesktop.NetworkManager"),
         QStringLiteral("DeactivateConnection"), {QVariant::fromValue(QDBusObjectPath(activePath))});
}

Settings wifiConnection(const QString& id, const QString& uuid, const QByteArray& ssid) {
    Settings settings;
    settings[QStringLiteral("connection")] =
        QVariantMap{{QStringLiteral("id"), id},
                    {QStringLiteral("uuid"), uuid},
                    {QStringLiteral("type"), QStringLiteral("802-11-wireless")}};
    settings[QStringLiteral("802-11-wireless")] = QVariantMap{{QStringLiteral("ssid"), ssid}};
    return settings;
}

void run(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.start(program, arguments);
    const bool finished = process.waitForFinished(10000);
    EXPECT_TRUE(finished && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0)
        << str(program) << " " << str(arguments.join(u' ')) << ": " << str(process.errorString()) << " "
        << process.readAllStandardError().toStdString();
}

bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!done()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

QString devicePathOf(const QString& interfaceName) {
    for (const QString& path : devicePaths()) {
        if (property(path, QStringLiteral("org.freedesktop.NetworkManager.Device"),
                     QStringLiteral("Interface"))
                .toString() == interfaceName) {
            return path;
        }
    }
    return QString();
}

ActingAs::ActingAs(uid_t uid) {
    // glibc changes the ids of every thread of the process, QtDBus's own included.
    ok_ = setresgid(uid, uid, 0) == 0 && setresuid(uid, uid, 0) == 0;
}

ActingAs::~ActingAs() {
    const bool back = setresuid(0, 0, 0) == 0 && setresgid(0, 0, 0) == 0;
    EXPECT_TRUE(back) << "cannot become root again";
}

QDBusConnection busAs(uid_t uid, const QString& name) {
    bus();  // the types registered
    const QString address = QString::fromLocal8Bit(env("DBUS_SYSTEM_BUS_ADDRESS"));
    const ActingAs acting(uid);
    EXPECT_TRUE(acting.ok()) << "cannot act as uid " << uid;
    // The bus reads who connects as the connection is opened: it stays that user's connection.
    return QDBusConnection::connectToBus(address, name);
}

void RealNmTest::SetUp() {
    if (const auto why = unavailable()) {
        GTEST_SKIP() << *why;
    }
}

platform::linuxwifi::NetworkManagerClient RealNmTest::client() {
    return platform::linuxwifi::NetworkManagerClient(bus(), std::chrono::milliseconds(kCallTimeoutMs));
}

}  // namespace realnm
