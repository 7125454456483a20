#include "unittests/linux/mock/MockSystemBus.h"

#include "platform/wifi/linux/DBusReading.h"

#include <QAtomicInteger>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QFile>
#include <QStandardPaths>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>

extern char** environ;

namespace testsupport {

namespace {

using Clock = std::chrono::steady_clock;

const QString kPython = QStringLiteral("/usr/bin/python3");
const QString kMockInterface = QStringLiteral("org.freedesktop.DBus.Mock");
const QString kNmMockPath = QStringLiteral("/org/freedesktop");
const QString kBluezMockPath = QStringLiteral("/");
const QString kDeviceInterface = QStringLiteral("org.freedesktop.NetworkManager.Device");
const QString kWirelessInterface = QStringLiteral("org.freedesktop.NetworkManager.Device.Wireless");

// How long the mocks get to start, and to answer a shaping call.
constexpr std::chrono::seconds kStartTimeout(15);
constexpr int kMockCallTimeoutMs = 10000;

// A system-type bus that lets everyone own any name and call anything: the mocks take the
// well-known names of the real services. Shared with the real NetworkManager's tests; @SOCKET@
// stands for the socket's path.
const QString kBusConfigPath =
    QStringLiteral(WIFIPROFILE_SOURCE_DIR "/unittests/linux/private-system-bus.conf");

std::runtime_error failure(const QString& text) {
    return std::runtime_error(text.toStdString());
}

// Starts argv in a process group of its own, stdin from /dev/null, stdout and stderr to the given
// descriptors. Answers the pid.
pid_t spawn(const QStringList& argv, const std::vector<std::string>& environment, int outFd, int errFd) {
    std::vector<std::string> args;
    for (const QString& arg : argv) {
        args.push_back(arg.toStdString());
    }
    std::vector<char*> argPointers;
    for (std::string& arg : args) {
        argPointers.push_back(arg.data());
    }
    argPointers.push_back(nullptr);
    std::vector<std::string> env = environment;
    std::vector<char*> envPointers;
    for (std::string& entry : env) {
        envPointers.push_back(entry.data());
    }
    envPointers.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, outFd, 1);
    posix_spawn_file_actions_adddup2(&actions, errFd, 2);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setpgroup(&attributes, 0);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    sigaddset(&defaults, SIGTERM);
    sigaddset(&defaults, SIGINT);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes,
                             POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    pid_t pid = -1;
    const int error =
        posix_spawn(&pid, argPointers.front(), &actions, &attributes, argPointers.data(), envPointers.data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (error != 0) {
        throw failure(
            QStringLiteral("cannot start %1: %2").arg(argv.front(), QString::fromLocal8Bit(strerror(error))));
    }
    return pid;
}

// This process's environment with name set to value.
std::vector<std::string> environmentWith(const std::string& name, const std::string& value) {
    std::vector<std::string> out;
    const std::string prefix = name + '=';
    for (char** entry = environ; *entry != nullptr; ++entry) {
        if (std::strncmp(*entry, prefix.c_str(), prefix.size()) != 0) {
            out.emplace_back(*entry);
        }
    }
    out.push_back(prefix + value);
    return out;
}

// Kills a process group and reaps its leader.
void killGroup(pid_t& pid) {
    if (pid <= 0) {
        return;
    }
    ::kill(-pid, SIGKILL);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    pid = -1;
}

QString readFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return QString();
    }
    return QString::fromUtf8(file.readAll());
}

}  // namespace

QDBusArgument& operator<<(QDBusArgument& arg, const MockMethod& method) {
    arg.beginStructure();
    arg << method.name << method.inSignature << method.outSignature << method.code;
    arg.endStructure();
    return arg;
}

const QDBusArgument& operator>>(const QDBusArgument& arg, MockMethod& method) {
    arg.beginStructure();
    arg >> method.name >> method.inSignature >> method.outSignature >> method.code;
    arg.endStructure();
    return arg;
}

struct MockSystemBus::Child {
    QString service;
    QString logPath;
    pid_t pid = -1;
};

bool MockSystemBus::reapIfEnded(Child& process) {
    if (process.pid <= 0) {
        return true;
    }
    int status = 0;
    if (waitpid(process.pid, &status, WNOHANG) == process.pid) {
        process.pid = -1;
        return true;
    }
    return false;
}

std::optional<QString> MockSystemBus::missingTools() {
    static const std::optional<QString> missing = []() -> std::optional<QString> {
        if (QStandardPaths::findExecutable(QStringLiteral("dbus-daemon")).isEmpty()) {
            return QStringLiteral("dbus-daemon is not installed (Debian package dbus-daemon)");
        }
        if (access(kPython.toLocal8Bit().constData(), X_OK) != 0) {
            return QStringLiteral("%1 is not there (Debian package python3)").arg(kPython);
        }
        const int devNull = open("/dev/null", O_WRONLY | O_CLOEXEC);
        pid_t pid = -1;
        try {
            pid = spawn({kPython, QStringLiteral("-c"), QStringLiteral("import dbusmock")},
                        environmentWith("PYTHONDONTWRITEBYTECODE", "1"), devNull, devNull);
        } catch (const std::runtime_error& e) {
            close(devNull);
            return QString::fromStdString(e.what());
        }
        close(devNull);
        int status = 0;
        while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
        }
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
            return QStringLiteral("%1 cannot import dbusmock (Debian package python3-dbusmock)").arg(kPython);
        }
        return std::nullopt;
    }();
    return missing;
}

MockSystemBus::MockSystemBus(Options options) : dir_(std::make_unique<QTemporaryDir>()) {
    // A constructor that throws runs no destructor: what was started is ended here.
    try {
        start(options);
    } catch (...) {
        shutDown();
        throw;
    }
}

void MockSystemBus::start(const Options& options) {
    qDBusRegisterMetaType<MockMethod>();
    qDBusRegisterMetaType<QList<MockMethod>>();
    qDBusRegisterMetaType<ConnectionSettings>();
    if (!dir_->isValid()) {
        throw failure(QStringLiteral("cannot make a temporary folder: %1").arg(dir_->errorString()));
    }
    const QString configPath = dir_->filePath(QStringLiteral("system-bus.conf"));
    {
        QFile config(configPath);
        if (!config.open(QIODevice::WriteOnly)) {
            throw failure(QStringLiteral("cannot write %1: %2").arg(configPath, config.errorString()));
        }
        QFile shared(kBusConfigPath);
        if (!shared.open(QIODevice::ReadOnly)) {
            throw failure(QStringLiteral("cannot read %1: %2").arg(kBusConfigPath, shared.errorString()));
        }
        config.write(
            shared.readAll().replace("@SOCKET@", dir_->filePath(QStringLiteral("bus.sock")).toUtf8()));
    }

    // The bus prints its address once it listens.
    auto bus = std::make_unique<Child>();
    bus->service = QStringLiteral("dbus-daemon");
    bus->logPath = dir_->filePath(QStringLiteral("dbus-daemon.log"));
    int addressPipe[2];
    if (pipe2(addressPipe, O_CLOEXEC) != 0) {
        throw failure(QStringLiteral("cannot make a pipe: %1").arg(QString::fromLocal8Bit(strerror(errno))));
    }
    const int busLog = open(bus->logPath.toLocal8Bit().constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    try {
        bus->pid = spawn({QStandardPaths::findExecutable(QStringLiteral("dbus-daemon")),
                          QStringLiteral("--config-file=") + configPath, QStringLiteral("--nofork"),
                          QStringLiteral("--nopidfile"), QStringLiteral("--print-address")},
                         environmentWith("PYTHONDONTWRITEBYTECODE", "1"), addressPipe[1], busLog);
    } catch (...) {
        close(addressPipe[0]);
        close(addressPipe[1]);
        close(busLog);
        throw;
    }
    close(addressPipe[1]);
    close(busLog);
    children_.push_back(std::move(bus));

    QByteArray printed;
    const auto deadline = Clock::now() + kStartTimeout;
    while (!printed.contains('\n') && Clock::now() < deadline) {
        pollfd readable{addressPipe[0], POLLIN, 0};
        if (poll(&readable, 1, 100) > 0) {
            char buffer[512];
            const ssize_t n = read(addressPipe[0], buffer, sizeof buffer);
            if (n <= 0) {
                break;
            }
            printed.append(buffer, n);
        }
    }
    close(addressPipe[0]);
    if (!printed.contains('\n')) {
        throw failure(
            QStringLiteral("dbus-daemon printed no address: %1").arg(readFile(children_.front()->logPath)));
    }
    address_ = QString::fromUtf8(printed.left(printed.indexOf('\n'))).trimmed();

    static QAtomicInteger<int> counter;
    connectionName_ = QStringLiteral("mock-system-bus-%1").arg(counter.fetchAndAddRelaxed(1));
    const QDBusConnection connection = QDBusConnection::connectToBus(address_, connectionName_);
    if (!connection.isConnected()) {
        throw failure(QStringLiteral("cannot connect to the private bus %1: %2")
                          .arg(address_, connection.lastError().message()));
    }

    if (options.networkManager) {
        startMock(kNetworkManager, QStringLiteral("networkmanager"), options.networkManagerParameters);
        if (options.completeNetworkManager) {
            addProperty(QStringLiteral("/org/freedesktop/NetworkManager"), kNetworkManager,
                        QStringLiteral("GlobalDnsConfiguration"), QVariant::fromValue(QVariantMap()));
        }
    }
    if (options.bluez) {
        startMock(kBluez, QStringLiteral("bluez5"), QString());
    }
}

MockSystemBus::~MockSystemBus() {
    shutDown();
}

void MockSystemBus::shutDown() {
    if (!connectionName_.isEmpty()) {
        QDBusConnection::disconnectFromBus(connectionName_);
        connectionName_.clear();
    }
    // The mocks first, then the bus.
    for (auto it = children_.rbegin(); it != children_.rend(); ++it) {
        killGroup((*it)->pid);
    }
}

void MockSystemBus::startMock(const QString& service, const QString& templateName,
                              const QString& parameters) {
    auto mock = std::make_unique<Child>();
    mock->service = service;
    mock->logPath = dir_->filePath(templateName + QStringLiteral(".log"));
    QStringList argv{kPython,
                     QStringLiteral("-m"),
                     QStringLiteral("dbusmock"),
                     QStringLiteral("--system"),
                     QStringLiteral("--template"),
                     templateName};
    if (!parameters.isEmpty()) {
        argv << QStringLiteral("--parameters") << parameters;
    }
    const int log = open(mock->logPath.toLocal8Bit().constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    try {
        auto environment = environmentWith("DBUS_SYSTEM_BUS_ADDRESS", address_.toStdString());
        environment.emplace_back("PYTHONDONTWRITEBYTECODE=1");
        mock->pid = spawn(argv, environment, log, log);
    } catch (...) {
        close(log);
        throw;
    }
    close(log);
    children_.push_back(std::move(mock));
    waitUntilReady(*children_.back());
}

void MockSystemBus::waitForName(const QString& service, bool owned, Child& process) const {
    const QDBusConnection bus = connection();
    const auto deadline = Clock::now() + kStartTimeout;
    while (Clock::now() < deadline) {
        QDBusMessage ask = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
            QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameHasOwner"));
        ask << service;
        const QDBusMessage reply = bus.call(ask, QDBus::Block, 2000);
        if (reply.type() == QDBusMessage::ReplyMessage && reply.arguments().value(0).toBool() == owned) {
            return;
        }
        if (owned && reapIfEnded(process)) {
            throw failure(
                QStringLiteral("the %1 mock ended before it was ready (it never took its name); it said:\n%2")
                    .arg(service, readFile(process.logPath)));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    throw failure(QStringLiteral("%1 was not %2 on the private bus within %3 s; the mock said:\n%4")
                      .arg(service, owned ? QStringLiteral("owned") : QStringLiteral("released"))
                      .arg(kStartTimeout.count())
                      .arg(readFile(process.logPath)));
}

void MockSystemBus::waitUntilReady(Child& mock) const {
    waitForName(mock.service, true, mock);
    // The mock takes its name before it loads its template, and answers a Ping (libdbus does, for
    // any object) only once its main loop runs: once it is ready. A template that fails to load
    // ends the mock instead.
    const QDBusMessage ping =
        QDBusMessage::createMethodCall(mock.service, QStringLiteral("/"),
                                       QStringLiteral("org.freedesktop.DBus.Peer"), QStringLiteral("Ping"));
    const QDBusMessage reply = connection().call(
        ping, QDBus::Block, static_cast<int>(std::chrono::milliseconds(kStartTimeout).count()));
    if (reply.type() == QDBusMessage::ReplyMessage) {
        return;
    }
    const auto deadline = Clock::now() + std::chrono::seconds(2);
    while (!reapIfEnded(mock) && Clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    throw failure(QStringLiteral("the %1 mock ended before it was ready (%2); it said:\n%3")
                      .arg(mock.service, reply.errorMessage(), readFile(mock.logPath)));
}

MockSystemBus::Child* MockSystemBus::child(const QString& service) const {
    for (const auto& c : children_) {
        if (c->service == service) {
            return c.get();
        }
    }
    throw failure(QStringLiteral("no %1 mock was started on this bus").arg(service));
}

QDBusConnection MockSystemBus::connection() const {
    return QDBusConnection(connectionName_);
}

std::vector<pid_t> MockSystemBus::processIds() const {
    std::vector<pid_t> out;
    for (const auto& c : children_) {
        out.push_back(c->pid);
    }
    return out;
}

QString MockSystemBus::log(const QString& service) const {
    return readFile(child(service)->logPath);
}

void MockSystemBus::killNetworkManager() {
    Child* mock = child(kNetworkManager);
    killGroup(mock->pid);
    waitForName(kNetworkManager, false, *mock);
}

void MockSystemBus::pauseNetworkManager() {
    ::kill(-child(kNetworkManager)->pid, SIGSTOP);
}

void MockSystemBus::resumeNetworkManager() {
    ::kill(-child(kNetworkManager)->pid, SIGCONT);
}

// ---- Mock interface ----------------------------------------------------------------------------

QVariantList MockSystemBus::callMock(const QString& path, const QString& interface, const QString& method,
                                     const QVariantList& args, const QString& service) const {
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, interface, method);
    call.setArguments(args);
    const QDBusMessage reply = connection().call(call, QDBus::Block, kMockCallTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        throw failure(QStringLiteral("the %1 mock refused %2.%3 at %4: %5: %6")
                          .arg(service, interface, method, path, reply.errorName(), reply.errorMessage()));
    }
    return reply.arguments();
}

void MockSystemBus::addObject(const QString& path, const QString& interface, const QVariantMap& properties,
                              const QList<MockMethod>& methods, const QString& service) const {
    callMock(service == kBluez ? kBluezMockPath : kNmMockPath, kMockInterface, QStringLiteral("AddObject"),
             {path, interface, properties, QVariant::fromValue(methods)}, service);
}

void MockSystemBus::addProperty(const QString& path, const QString& interface, const QString& name,
                                const QVariant& value, const QString& service) const {
    callMock(path, kMockInterface, QStringLiteral("AddProperty"),
             {interface, name, QVariant::fromValue(QDBusVariant(value))}, service);
}

void MockSystemBus::updateProperties(const QString& path, const QString& interface, const QVariantMap& values,
                                     const QString& service) const {
    // The mock's UpdateProperties cannot put object paths and dictionaries into its signal; those
    // go through the standard Properties.Set, which changes an existing property and signals too.
    QVariantMap wrappable;
    for (auto it = values.begin(); it != values.end(); ++it) {
        const QMetaType type = it.value().metaType();
        if (type == QMetaType::fromType<QDBusObjectPath>() || type == QMetaType::fromType<QVariantMap>()) {
            callMock(path, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Set"),
                     {interface, it.key(), QVariant::fromValue(QDBusVariant(it.value()))}, service);
        } else {
            wrappable.insert(it.key(), it.value());
        }
    }
    if (!wrappable.isEmpty()) {
        callMock(path, kMockInterface, QStringLiteral("UpdateProperties"), {interface, wrappable}, service);
    }
}

void MockSystemBus::setProperty(const QString& path, const QString& interface, const QString& name,
                                const QVariant& value) const {
    callMock(kNmMockPath, kMockInterface, QStringLiteral("SetProperty"),
             {path, interface, name, QVariant::fromValue(QDBusVariant(value))});
}

void MockSystemBus::emitSignal(const QString& path, const QString& interface, const QString& name,
                               const QString& signature, const QVariantList& args,
                               const QString& service) const {
    callMock(path, kMockInterface, QStringLiteral("EmitSignal"), {interface, name, signature, args}, service);
}

void MockSystemBus::addMethod(const QString& path, const QString& interface, const QString& name,
                              const QString& inSignature, const QString& outSignature, const QString& code,
                              const QString& service) const {
    callMock(path, kMockInterface, QStringLiteral("AddMethod"),
             {interface, name, inSignature, outSignature, code}, service);
}

int MockSystemBus::methodCallCount(const QString& path, const QString& method, const QString& service) const {
    const QVariantList answer =
        callMock(path, kMockInterface, QStringLiteral("GetMethodCalls"), {method}, service);
    // a(tav): one (timestamp, arguments) entry per call.
    const auto count = platform::linuxwifi::DBusValue::fromQt(answer.value(0)).elements().size();
    return static_cast<int>(count);
}

// ---- NetworkManager ----------------------------------------------------------------------------

QString MockSystemBus::addBareWiFiDevice(const QString& name, const QString& interfaceName,
                                         uint state) const {
    return callMock(kNmMockPath, kMockInterface, QStringLiteral("AddWiFiDevice"),
                    {name, interfaceName, static_cast<int>(state)})
        .value(0)
        .toString();
}

QString MockSystemBus::addWiFiDevice(const QString& name, const QString& interfaceName, uint state,
                                     const WiFiDeviceExtras& extras) const {
    const QString path = addBareWiFiDevice(name, interfaceName, state);
    addProperty(path, kDeviceInterface, QStringLiteral("Ip4Config"), objectPath(extras.ip4Config));
    addProperty(path, kDeviceInterface, QStringLiteral("Ip6Config"), objectPath(extras.ip6Config));
    addProperty(path, kDeviceInterface, QStringLiteral("Metered"), QVariant(extras.metered));
    addProperty(path, kWirelessInterface, QStringLiteral("ActiveAccessPoint"),
                objectPath(extras.activeAccessPoint));
    addProperty(path, kWirelessInterface, QStringLiteral("LastScan"), QVariant(extras.lastScan));
    return path;
}

QString MockSystemBus::addDevice(const QString& name, const QString& interfaceName, uint deviceType,
                                 uint state) const {
    const QString path = QStringLiteral("/org/freedesktop/NetworkManager/Devices/") + name;
    addObject(path, kDeviceInterface,
              {{QStringLiteral("DeviceType"), QVariant(deviceType)},
               {QStringLiteral("Interface"), interfaceName},
               {QStringLiteral("State"), QVariant(state)},
               {QStringLiteral("Ip4Config"), objectPath(QStringLiteral("/"))},
               {QStringLiteral("Ip6Config"), objectPath(QStringLiteral("/"))},
               {QStringLiteral("ActiveConnection"), objectPath(QStringLiteral("/"))},
               {QStringLiteral("Metered"), QVariant(0u)}});
    return path;
}

QString MockSystemBus::addAccessPoint(const QString& devicePath, const QString& name, const QString& ssid,
                                      const QString& bssid, uint mode, uint frequency, uint maxBitrate,
                                      uchar strength, uint security) const {
    return callMock(kNmMockPath, kMockInterface, QStringLiteral("AddAccessPoint"),
                    {devicePath, name, ssid, bssid, QVariant(mode), QVariant(frequency), QVariant(maxBitrate),
                     QVariant::fromValue(strength), QVariant(security)})
        .value(0)
        .toString();
}

void MockSystemBus::setAccessPointSecurity(const QString& accessPointPath, uint flags, uint wpaFlags,
                                           uint rsnFlags) const {
    updateProperties(accessPointPath, QStringLiteral("org.freedesktop.NetworkManager.AccessPoint"),
                     {{QStringLiteral("Flags"), QVariant(flags)},
                      {QStringLiteral("WpaFlags"), QVariant(wpaFlags)},
                      {QStringLiteral("RsnFlags"), QVariant(rsnFlags)}});
}

QString MockSystemBus::addWiFiConnection(const QString& devicePath, const QString& name, const QString& ssid,
                                         const QString& keyMgmt) const {
    return callMock(kNmMockPath, kMockInterface, QStringLiteral("AddWiFiConnection"),
                    {devicePath, name, ssid, keyMgmt})
        .value(0)
        .toString();
}

QString MockSystemBus::addConnection(const ConnectionSettings& settings) const {
    return callMock(QStringLiteral("/org/freedesktop/NetworkManager/Settings"),
                    QStringLiteral("org.freedesktop.NetworkManager.Settings"),
                    QStringLiteral("AddConnection"), {QVariant::fromValue(settings)})
        .value(0)
        .value<QDBusObjectPath>()
        .path();
}

QString MockSystemBus::addActiveConnection(const QStringList& devicePaths, const QString& connectionPath,
                                           const QString& specificObject, const QString& name,
                                           uint state) const {
    return callMock(kNmMockPath, kMockInterface, QStringLiteral("AddActiveConnection"),
                    {devicePaths, connectionPath, specificObject, name, QVariant(state)})
        .value(0)
        .toString();
}

namespace {

QList<QVariantMap> addressData(const QList<std::pair<QString, uint>>& addresses) {
    QList<QVariantMap> out;
    for (const auto& [address, prefix] : addresses) {
        out.push_back({{QStringLiteral("address"), address}, {QStringLiteral("prefix"), QVariant(prefix)}});
    }
    return out;
}

}  // namespace

QString MockSystemBus::addIp4Config(const QString& devicePath, const QString& name,
                                    const QList<std::pair<QString, uint>>& addresses,
                                    const QString& gateway) const {
    const QString path = QStringLiteral("/org/freedesktop/NetworkManager/IP4Config/") + name;
    addObject(path, QStringLiteral("org.freedesktop.NetworkManager.IP4Config"),
              {{QStringLiteral("AddressData"), dictList(addressData(addresses))},
               {QStringLiteral("Gateway"), gateway}});
    updateProperties(devicePath, kDeviceInterface, {{QStringLiteral("Ip4Config"), objectPath(path)}});
    return path;
}

QString MockSystemBus::addIp6Config(const QString& devicePath, const QString& name,
                                    const QList<std::pair<QString, uint>>& addresses,
                                    const QString& gateway) const {
    const QString path = QStringLiteral("/org/freedesktop/NetworkManager/IP6Config/") + name;
    addObject(path, QStringLiteral("org.freedesktop.NetworkManager.IP6Config"),
              {{QStringLiteral("AddressData"), dictList(addressData(addresses))},
               {QStringLiteral("Gateway"), gateway}});
    updateProperties(devicePath, kDeviceInterface, {{QStringLiteral("Ip6Config"), objectPath(path)}});
    return path;
}

void MockSystemBus::finishScansAfter(const QString& devicePath, int delayMs) const {
    // The method's code runs in the mock's GLib main loop; the timer's callback answers False so
    // that it runs once. dbus and time are modules the mock's code can use.
    const QString code = QStringLiteral(
                             "from gi.repository import GLib\n"
                             "GLib.timeout_add(%1, lambda obj=self: obj.UpdateProperties(%2, {'LastScan': "
                             "dbus.Int64(int(time.clock_gettime(time.CLOCK_BOOTTIME) * 1000))}) or False)\n")
                             .arg(delayMs)
                             .arg(pythonString(kWirelessInterface));
    addMethod(devicePath, kWirelessInterface, QStringLiteral("RequestScan"), QStringLiteral("a{sv}"),
              QString(), code);
}

void MockSystemBus::refusePropertySet(const QString& path, const QString& errorName,
                                      const QString& message) const {
    addMethod(path, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Set"),
              QStringLiteral("ssv"), QString(),
              QStringLiteral("raise dbus.exceptions.DBusException(%1, name=%2)")
                  .arg(pythonString(message), pythonString(errorName)));
}

// ---- BlueZ -------------------------------------------------------------------------------------

QString MockSystemBus::addAdapter(const QString& name, const QString& alias) const {
    return callMock(kBluezMockPath, QStringLiteral("org.bluez.Mock"), QStringLiteral("AddAdapter"),
                    {name, alias}, kBluez)
        .value(0)
        .toString();
}

QString MockSystemBus::addBluetoothDevice(const QString& adapterName, const QString& address,
                                          const QString& alias) const {
    return callMock(kBluezMockPath, QStringLiteral("org.bluez.Mock"), QStringLiteral("AddDevice"),
                    {adapterName, address, alias}, kBluez)
        .value(0)
        .toString();
}

void MockSystemBus::pairDevice(const QString& adapterName, const QString& address) const {
    // A phone's class of device; the mock records it with the pairing.
    constexpr int kPhoneClass = 0x5a020c;
    callMock(kBluezMockPath, QStringLiteral("org.bluez.Mock"), QStringLiteral("PairDevice"),
             {adapterName, address, kPhoneClass}, kBluez);
}

void MockSystemBus::connectDevice(const QString& adapterName, const QString& address) const {
    callMock(kBluezMockPath, QStringLiteral("org.bluez.Mock"), QStringLiteral("ConnectDevice"),
             {adapterName, address}, kBluez);
}

// ---- Values ------------------------------------------------------------------------------------

QVariant MockSystemBus::objectPath(const QString& path) {
    return QVariant::fromValue(QDBusObjectPath(path));
}

QVariant MockSystemBus::objectPaths(const QStringList& paths) {
    QList<QDBusObjectPath> out;
    for (const QString& path : paths) {
        out.push_back(QDBusObjectPath(path));
    }
    return QVariant::fromValue(out);
}

QVariant MockSystemBus::dictList(const QList<QVariantMap>& dicts) {
    QDBusArgument arg;
    arg.beginArray(QMetaType::fromType<QVariantMap>());
    for (const QVariantMap& dict : dicts) {
        arg << dict;
    }
    arg.endArray();
    return QVariant::fromValue(arg);
}

QVariant MockSystemBus::byteArrayList(const QList<QByteArray>& arrays) {
    QDBusArgument arg;
    arg.beginArray(QMetaType::fromType<QByteArray>());
    for (const QByteArray& bytes : arrays) {
        arg << bytes;
    }
    arg.endArray();
    return QVariant::fromValue(arg);
}

QString MockSystemBus::pythonString(const QString& text) {
    QString out = QStringLiteral("'");
    for (const QChar c : text) {
        if (c == u'\'' || c == u'\\') {
            out += u'\\';
            out += c;
        } else if (c.unicode() < 0x20 || c.unicode() > 0x7e) {
            out += QStringLiteral("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
        } else {
            out += c;
        }
    }
    return out + u'\'';
}

}  // namespace testsupport
