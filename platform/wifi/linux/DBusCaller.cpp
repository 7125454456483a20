// DBusCaller: method calls and property reads with a timeout each, the errors of their replies,
// and the cancellation that stops a thread's further calls.
#include "platform/wifi/linux/DBusReading.h"

#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusVariant>

#include <algorithm>
#include <chrono>
#include <thread>

namespace platform::linuxwifi {

namespace {

const QString kPropertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");

bool isOneOf(const QString& name, std::initializer_list<const char*> names) {
    for (const char* candidate : names) {
        if (name == QLatin1String(candidate)) {
            return true;
        }
    }
    return false;
}

enum class Action { Call, Read, ReadAll, Write };

QString verbOf(Action action) {
    switch (action) {
        case Action::Call:
            return QStringLiteral("calling");
        case Action::Read:
        case Action::ReadAll:
            return QStringLiteral("reading");
        case Action::Write:
            return QStringLiteral("setting");
    }
    return QString();
}

DBusReadError errorFromReply(Action action, const DBusPlace& place, const QDBusMessage& reply,
                             std::chrono::milliseconds timeout) {
    const QString name = reply.errorName();
    const QString message = reply.errorMessage();
    const QString detail = QStringLiteral("%1: %2").arg(name, message);
    const QString what = verbOf(action) + u' ' + place.text();
    using Kind = DBusReadError::Kind;
    if (isOneOf(name,
                {"org.freedesktop.DBus.Error.ServiceUnknown", "org.freedesktop.DBus.Error.NameHasNoOwner"})) {
        return DBusReadError(
            Kind::NoService,
            QStringLiteral("no %1 on the bus: %2 is not possible (%3)").arg(place.service, what, detail),
            name);
    }
    if (isOneOf(name, {"org.freedesktop.DBus.Error.NoReply", "org.freedesktop.DBus.Error.Timeout",
                       "org.freedesktop.DBus.Error.TimedOut"})) {
        return DBusReadError(Kind::Timeout,
                             QStringLiteral("%1: no answer within %2 ms (%3)")
                                 .arg(what, QString::number(timeout.count()), name),
                             name);
    }
    if (name == QLatin1String("org.freedesktop.DBus.Error.Disconnected")) {
        return DBusReadError(Kind::Disconnected,
                             QStringLiteral("%1: the connection to the bus is closed (%2)").arg(what, detail),
                             name);
    }
    if (isOneOf(name, {"org.freedesktop.DBus.Error.AccessDenied", "org.freedesktop.DBus.Error.AuthFailed",
                       "org.freedesktop.DBus.Error.InteractiveAuthorizationRequired"}) ||
        name.endsWith(QLatin1String(".PermissionDenied")) || name.endsWith(QLatin1String(".NotAuthorized")) ||
        name.endsWith(QLatin1String(".AccessDenied"))) {
        return DBusReadError(Kind::Refused, QStringLiteral("%1 was refused: %2").arg(what, detail), name);
    }
    // An object that is not there: libdbus answers UnknownObject; a GDBus service (NetworkManager)
    // answers UnknownMethod, for the Properties interface (which every object of its has) and for a
    // method call saying "Object does not exist at path".
    const bool propertyAccess =
        action == Action::Read || action == Action::ReadAll || action == Action::Write;
    const bool unknownMethod = name == QLatin1String("org.freedesktop.DBus.Error.UnknownMethod");
    if (name == QLatin1String("org.freedesktop.DBus.Error.UnknownObject") ||
        (propertyAccess && unknownMethod) ||
        (unknownMethod && message.startsWith(QLatin1String("Object does not exist at path")))) {
        return DBusReadError(Kind::NoSuchObject,
                             QStringLiteral("%1: there is no such object (%2)").arg(what, detail), name);
    }
    // A property or interface the object lacks: GDBus answers InvalidArgs, others a name of
    // their own ending in UnknownProperty or UnknownInterface.
    if ((action == Action::Read || action == Action::Write) &&
        (name.endsWith(QLatin1String(".UnknownProperty")) || name.endsWith(QLatin1String(".InvalidArgs")))) {
        return DBusReadError(Kind::Missing, QStringLiteral("%1 is missing (%2)").arg(what, detail), name);
    }
    if (action == Action::ReadAll &&
        (name.endsWith(QLatin1String(".UnknownInterface")) || name.endsWith(QLatin1String(".InvalidArgs")))) {
        return DBusReadError(Kind::Missing,
                             QStringLiteral("%1: the object has no such interface (%2)").arg(what, detail),
                             name);
    }
    return DBusReadError(Kind::CallFailed, QStringLiteral("%1 failed (%2)").arg(what, detail), name);
}

// A call not made, or no longer waited for, because the work it serves was cancelled.
DBusReadError cancelledError(Action action, const DBusPlace& place) {
    return DBusReadError(DBusReadError::Kind::CallFailed,
                         QStringLiteral("%1 %2: cancelled").arg(verbOf(action), place.text()));
}

// How a call waits for its answer: blocked in QtDBus, or looking every few milliseconds whether the
// work it serves was cancelled (for calls that may take long).
enum class Wait { Blocked, Cancellable };

// Waits for the answer of message, and ends at once with a cancel of the calling thread's work.
QDBusMessage answerUnlessCancelled(const DBusCaller& caller, const QDBusMessage& message, Action action,
                                   const DBusPlace& errorPlace) {
    QDBusPendingCall pending =
        caller.connection().asyncCall(message, static_cast<int>(caller.timeout().count()));
    while (!pending.isFinished()) {
        if (CallCancellation::cancelledOnThisThread()) {
            throw cancelledError(action, errorPlace);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return pending.reply();
}

std::vector<DBusValue> callAt(const DBusCaller& caller, Action action, const DBusPlace& errorPlace,
                              const QString& path, const QString& interface, const QString& method,
                              const QVariantList& args, const QString& replySignature,
                              Wait wait = Wait::Blocked) {
    if (CallCancellation::cancelledOnThisThread()) {
        throw cancelledError(action, errorPlace);
    }
    if (!isObjectPath(path)) {
        DBusPlace withoutPath = errorPlace;
        withoutPath.path.clear();
        throw DBusReadError(DBusReadError::Kind::InvalidPath,
                            QStringLiteral("%1 %2: \"%3\" is not a D-Bus object path")
                                .arg(verbOf(action), withoutPath.text(), path));
    }
    QDBusMessage message = QDBusMessage::createMethodCall(caller.service(), path, interface, method);
    message.setArguments(args);
    // A diagnostic asks the services that run; it never starts one.
    message.setAutoStartService(false);
    const QDBusMessage reply =
        wait == Wait::Cancellable
            ? answerUnlessCancelled(caller, message, action, errorPlace)
            : caller.connection().call(message, QDBus::Block, static_cast<int>(caller.timeout().count()));
    if (reply.type() == QDBusMessage::ErrorMessage) {
        throw errorFromReply(action, errorPlace, reply, caller.timeout());
    }
    if (reply.type() != QDBusMessage::ReplyMessage) {
        throw DBusReadError(DBusReadError::Kind::CallFailed,
                            QStringLiteral("calling %1 gave no answer (the connection to the bus: %2)")
                                .arg(errorPlace.text(), caller.connection().lastError().message()));
    }
    if (reply.signature() != replySignature) {
        throw DBusReadError(DBusReadError::Kind::WrongType,
                            QStringLiteral("the answer of %1: expected %2, found %3")
                                .arg(errorPlace.text(), describeSignature(replySignature),
                                     describeSignature(reply.signature())));
    }
    std::vector<DBusValue> out;
    for (const QVariant& value : reply.arguments()) {
        out.push_back(DBusValue::fromQt(value));
    }
    return out;
}

}  // namespace

namespace {

// QtDBus reads a timeout of -1 as its default of 25 s; every call here has a bound of its own.
std::chrono::milliseconds atLeastOneMillisecond(std::chrono::milliseconds timeout) {
    return std::max(timeout, std::chrono::milliseconds(1));
}

}  // namespace

DBusCaller::DBusCaller(QDBusConnection connection, QString service, std::chrono::milliseconds timeout)
    : connection_(std::move(connection)),
      service_(std::move(service)),
      timeout_(atLeastOneMillisecond(timeout)) {}

DBusCaller DBusCaller::withTimeout(std::chrono::milliseconds timeout) const {
    DBusCaller out = *this;
    out.timeout_ = atLeastOneMillisecond(timeout);
    return out;
}

std::vector<DBusValue> DBusCaller::call(const QString& path, const QString& interface, const QString& method,
                                        const QVariantList& args, const QString& replySignature) const {
    const DBusPlace place{service_, path, interface, method + QStringLiteral("()"), QString()};
    return callAt(*this, Action::Call, place, path, interface, method, args, replySignature);
}

DBusField DBusCaller::callForOne(const QString& path, const QString& interface, const QString& method,
                                 const QVariantList& args, const QString& replySignature) const {
    return oneValue(call(path, interface, method, args, replySignature), path, interface, method);
}

DBusField DBusCaller::callForOneUnlessCancelled(const QString& path, const QString& interface,
                                                const QString& method, const QVariantList& args,
                                                const QString& replySignature) const {
    const DBusPlace place{service_, path, interface, method + QStringLiteral("()"), QString()};
    return oneValue(
        callAt(*this, Action::Call, place, path, interface, method, args, replySignature, Wait::Cancellable),
        path, interface, method);
}

DBusField DBusCaller::oneValue(std::vector<DBusValue> values, const QString& path, const QString& interface,
                               const QString& method) const {
    const DBusPlace place{service_, path, interface, method + QStringLiteral("()"), QString()};
    if (values.size() != 1) {
        throw DBusReadError(DBusReadError::Kind::WrongType,
                            QStringLiteral("the answer of %1: expected one value, found %2")
                                .arg(place.text(), QString::number(values.size())));
    }
    return DBusField(std::move(values.front()), place);
}

DBusDict DBusCaller::getAll(const QString& path, const QString& interface) const {
    const DBusPlace place{service_, path, interface, QString(), QString()};
    std::vector<DBusValue> values = callAt(*this, Action::ReadAll, place, path, kPropertiesInterface,
                                           QStringLiteral("GetAll"), {interface}, QStringLiteral("a{sv}"));
    return DBusField(std::move(values.front()), place).readProperties();
}

DBusField DBusCaller::get(const QString& path, const QString& interface, const QString& property) const {
    const DBusPlace place{service_, path, interface, property, QString()};
    std::vector<DBusValue> values = callAt(*this, Action::Read, place, path, kPropertiesInterface,
                                           QStringLiteral("Get"), {interface, property}, QStringLiteral("v"));
    const DBusValue& variant = values.front();
    return DBusField(variant.elements().empty() ? DBusValue() : variant.elements().front(), place);
}

void DBusCaller::set(const QString& path, const QString& interface, const QString& property,
                     const QVariant& value) const {
    const DBusPlace place{service_, path, interface, property, QString()};
    callAt(*this, Action::Write, place, path, kPropertiesInterface, QStringLiteral("Set"),
           {interface, property, QVariant::fromValue(QDBusVariant(value))}, QString());
}

bool DBusCaller::serviceIsPresent() const {
    const DBusCaller bus(connection_, QStringLiteral("org.freedesktop.DBus"), timeout_);
    return bus
        .callForOne(QStringLiteral("/org/freedesktop/DBus"), QStringLiteral("org.freedesktop.DBus"),
                    QStringLiteral("NameHasOwner"), {service_}, QStringLiteral("b"))
        .readBool();
}

namespace {
thread_local const CallCancellation* currentCancellation = nullptr;
}  // namespace

CallCancellation::CallCancellation(std::function<bool()> cancelled)
    : cancelled_(std::move(cancelled)), outer_(currentCancellation) {
    currentCancellation = this;
}

CallCancellation::~CallCancellation() {
    currentCancellation = outer_;
}

bool CallCancellation::cancelledOnThisThread() {
    for (const CallCancellation* c = currentCancellation; c; c = c->outer_) {
        if (c->cancelled_ && c->cancelled_()) {
            return true;
        }
    }
    return false;
}

}  // namespace platform::linuxwifi
