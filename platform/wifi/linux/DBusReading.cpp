#include "platform/wifi/linux/DBusReading.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusSignature>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <QMetaType>

#include <algorithm>

namespace platform::linuxwifi {

namespace {

const QString kPropertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");

// Error texts quote values; a value's text is cut after this many characters.
constexpr qsizetype kShortTextLimit = 120;

QString quoted(const QString& text) {
    QString out = QStringLiteral("\"");
    for (const QChar c : text) {
        if (c == u'"' || c == u'\\') {
            out += u'\\';
            out += c;
        } else if (c.unicode() < 0x20) {
            out += QStringLiteral("\\x%1").arg(c.unicode(), 2, 16, QLatin1Char('0'));
        } else {
            out += c;
        }
    }
    return out + u'"';
}

QString bytesText(const QByteArray& bytes) {
    QStringList parts;
    for (const char byte : bytes) {
        parts << QStringLiteral("0x%1").arg(static_cast<unsigned char>(byte), 2, 16, QLatin1Char('0'));
    }
    return u'[' + parts.join(QStringLiteral(", ")) + u']';
}

QString cut(QString text) {
    if (text.size() > kShortTextLimit) {
        text.truncate(kShortTextLimit);
        text += QStringLiteral("...");
    }
    return text;
}

}  // namespace

// ---- DBusReadError ------------------------------------------------------------------------------

DBusReadError::DBusReadError(Kind kind, QString text, QString dbusErrorName)
    : std::runtime_error(text.toStdString()),
      kind_(kind),
      text_(std::move(text)),
      dbusErrorName_(std::move(dbusErrorName)) {}

const char* DBusReadError::kindName(Kind kind) {
    switch (kind) {
        case Kind::NoService:
            return "no service";
        case Kind::NoSuchObject:
            return "no such object";
        case Kind::Timeout:
            return "timeout";
        case Kind::Refused:
            return "refused";
        case Kind::Disconnected:
            return "disconnected";
        case Kind::CallFailed:
            return "call failed";
        case Kind::Missing:
            return "missing";
        case Kind::WrongType:
            return "wrong type";
        case Kind::BadValue:
            return "bad value";
        case Kind::InvalidPath:
            return "invalid path";
    }
    return "unknown";
}

ErrorRef DBusReadError::toServiceError(std::int64_t code) const {
    return makeError(QStringLiteral("WiFiDiagnostics"), code, text_);
}

// ---- DBusValue ----------------------------------------------------------------------------------

// Builds DBusValue trees from QtDBus's forms.
class DBusValueBuilder {
  public:
    static DBusValue fromQt(const QVariant& value) {
        DBusValue out;
        const QMetaType type = value.metaType();
        if (type == QMetaType::fromType<QDBusArgument>()) {
            return fromArgument(value.value<QDBusArgument>());
        }
        if (type == QMetaType::fromType<QDBusVariant>()) {
            out.signature_ = QStringLiteral("v");
            out.elements_.push_back(fromQt(value.value<QDBusVariant>().variant()));
            return out;
        }
        if (type == QMetaType::fromType<QVariantMap>()) {
            out.signature_ = QStringLiteral("a{sv}");
            const QVariantMap map = value.toMap();
            for (auto it = map.begin(); it != map.end(); ++it) {
                DBusValue key = scalar(QStringLiteral("s"), it.key());
                DBusValue content;
                content.signature_ = QStringLiteral("v");
                content.elements_.push_back(fromQt(it.value()));
                out.entries_.emplace_back(std::move(key), std::move(content));
            }
            return out;
        }
        if (type == QMetaType::fromType<QVariantList>()) {
            out.signature_ = QStringLiteral("av");
            for (const QVariant& element : value.toList()) {
                DBusValue content;
                content.signature_ = QStringLiteral("v");
                content.elements_.push_back(fromQt(element));
                out.elements_.push_back(std::move(content));
            }
            return out;
        }
        return scalar(basicSignature(type), value);
    }

  private:
    static DBusValue scalar(QString signature, QVariant value) {
        DBusValue out;
        out.signature_ = std::move(signature);
        out.scalar_ = std::move(value);
        return out;
    }

    static QString basicSignature(QMetaType type) {
        switch (type.id()) {
            case QMetaType::Bool:
                return QStringLiteral("b");
            case QMetaType::UChar:
                return QStringLiteral("y");
            case QMetaType::Short:
                return QStringLiteral("n");
            case QMetaType::UShort:
                return QStringLiteral("q");
            case QMetaType::Int:
                return QStringLiteral("i");
            case QMetaType::UInt:
                return QStringLiteral("u");
            case QMetaType::LongLong:
                return QStringLiteral("x");
            case QMetaType::ULongLong:
                return QStringLiteral("t");
            case QMetaType::Double:
                return QStringLiteral("d");
            case QMetaType::QString:
                return QStringLiteral("s");
            case QMetaType::QByteArray:
                return QStringLiteral("ay");
            case QMetaType::QStringList:
                return QStringLiteral("as");
            default:
                break;
        }
        if (type == QMetaType::fromType<QDBusObjectPath>()) {
            return QStringLiteral("o");
        }
        if (type == QMetaType::fromType<QDBusSignature>()) {
            return QStringLiteral("g");
        }
        if (type == QMetaType::fromType<QDBusUnixFileDescriptor>()) {
            return QStringLiteral("h");
        }
        return QStringLiteral("?");
    }

    static DBusValue fromArgument(const QDBusArgument& arg) {
        DBusValue out;
        out.signature_ = arg.currentSignature();
        switch (arg.currentType()) {
            case QDBusArgument::BasicType: {
                const QVariant basic = arg.asVariant();
                out.scalar_ = basic;
                return out;
            }
            case QDBusArgument::VariantType: {
                QDBusVariant content;
                arg >> content;
                out.elements_.push_back(fromQt(content.variant()));
                return out;
            }
            case QDBusArgument::ArrayType: {
                if (out.signature_ == QStringLiteral("ay")) {
                    QByteArray bytes;
                    arg >> bytes;
                    out.scalar_ = bytes;
                    return out;
                }
                if (out.signature_ == QStringLiteral("as")) {
                    QStringList strings;
                    arg >> strings;
                    out.scalar_ = strings;
                    return out;
                }
                arg.beginArray();
                while (!arg.atEnd()) {
                    out.elements_.push_back(fromArgument(arg));
                }
                arg.endArray();
                return out;
            }
            case QDBusArgument::StructureType: {
                arg.beginStructure();
                while (!arg.atEnd()) {
                    out.elements_.push_back(fromArgument(arg));
                }
                arg.endStructure();
                return out;
            }
            case QDBusArgument::MapType: {
                arg.beginMap();
                while (!arg.atEnd()) {
                    arg.beginMapEntry();
                    DBusValue key = fromArgument(arg);
                    DBusValue value = fromArgument(arg);
                    arg.endMapEntry();
                    out.entries_.emplace_back(std::move(key), std::move(value));
                }
                arg.endMap();
                return out;
            }
            case QDBusArgument::MapEntryType:
            case QDBusArgument::UnknownType:
                break;
        }
        out.signature_ = QStringLiteral("?");
        return out;
    }
};

DBusValue DBusValue::fromQt(const QVariant& value) {
    return DBusValueBuilder::fromQt(value);
}

QString DBusValue::shortText() const {
    if (signature_ == QStringLiteral("s")) {
        return cut(quoted(scalar_.toString()));
    }
    if (signature_ == QStringLiteral("o")) {
        return cut(scalar_.value<QDBusObjectPath>().path());
    }
    if (signature_ == QStringLiteral("g")) {
        return scalar_.value<QDBusSignature>().signature();
    }
    if (signature_ == QStringLiteral("b")) {
        return scalar_.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    }
    if (signature_ == QStringLiteral("ay")) {
        return cut(bytesText(scalar_.toByteArray()));
    }
    if (signature_ == QStringLiteral("as")) {
        QStringList parts;
        for (const QString& s : scalar_.toStringList()) {
            parts << quoted(s);
        }
        return cut(u'[' + parts.join(QStringLiteral(", ")) + u']');
    }
    if (signature_ == QStringLiteral("v")) {
        return elements_.empty() ? QStringLiteral("<>") : u'<' + elements_.front().shortText() + u'>';
    }
    if (!entries_.empty() || signature_.startsWith(QStringLiteral("a{"))) {
        QStringList parts;
        for (const auto& [key, value] : entries_) {
            parts << key.shortText() + QStringLiteral(": ") + value.shortText();
        }
        return cut(u'{' + parts.join(QStringLiteral(", ")) + u'}');
    }
    if (signature_.startsWith(u'a') || signature_.startsWith(u'(')) {
        QStringList parts;
        for (const DBusValue& element : elements_) {
            parts << element.shortText();
        }
        const bool structure = signature_.startsWith(u'(');
        return cut((structure ? QStringLiteral("(") : QStringLiteral("[")) +
                   parts.join(QStringLiteral(", ")) +
                   (structure ? QStringLiteral(")") : QStringLiteral("]")));
    }
    if (signature_ == QStringLiteral("?")) {
        return QStringLiteral("a value of Qt type %1").arg(QString::fromLatin1(scalar_.typeName()));
    }
    return cut(scalar_.toString());
}

QString describeSignature(const QString& signature) {
    static const std::map<QString, QString> kNames = {
        {QStringLiteral(""), QStringLiteral("nothing")},
        {QStringLiteral("b"), QStringLiteral("a boolean")},
        {QStringLiteral("y"), QStringLiteral("a byte")},
        {QStringLiteral("n"), QStringLiteral("an int16")},
        {QStringLiteral("q"), QStringLiteral("a uint16")},
        {QStringLiteral("i"), QStringLiteral("an int32")},
        {QStringLiteral("u"), QStringLiteral("a uint32")},
        {QStringLiteral("x"), QStringLiteral("an int64")},
        {QStringLiteral("t"), QStringLiteral("a uint64")},
        {QStringLiteral("d"), QStringLiteral("a double")},
        {QStringLiteral("s"), QStringLiteral("a string")},
        {QStringLiteral("o"), QStringLiteral("an object path")},
        {QStringLiteral("g"), QStringLiteral("a signature")},
        {QStringLiteral("h"), QStringLiteral("a file descriptor")},
        {QStringLiteral("v"), QStringLiteral("a variant")},
        {QStringLiteral("ay"), QStringLiteral("a byte array")},
        {QStringLiteral("as"), QStringLiteral("a string array")},
        {QStringLiteral("ao"), QStringLiteral("an object path array")},
        {QStringLiteral("au"), QStringLiteral("a uint32 array")},
        {QStringLiteral("aay"), QStringLiteral("an array of byte arrays")},
        {QStringLiteral("a{sv}"), QStringLiteral("a dictionary of variants")},
        {QStringLiteral("aa{sv}"), QStringLiteral("an array of dictionaries")},
        {QStringLiteral("a{sa{sv}}"), QStringLiteral("a dictionary of dictionaries")},
        {QStringLiteral("?"), QStringLiteral("a value of no D-Bus type")},
    };
    const auto known = kNames.find(signature);
    QString name;
    if (known != kNames.end()) {
        name = known->second;
    } else if (signature.startsWith(QStringLiteral("a{"))) {
        name = QStringLiteral("a dictionary");
    } else if (signature.startsWith(u'a')) {
        name = QStringLiteral("an array");
    } else if (signature.startsWith(u'(')) {
        name = QStringLiteral("a structure");
    } else {
        name = QStringLiteral("a value");
    }
    if (signature.isEmpty() || signature == QStringLiteral("?")) {
        return name;
    }
    return QStringLiteral("%1 (%2)").arg(name, signature);
}

bool isObjectPath(const QString& path) {
    if (path == QStringLiteral("/")) {
        return true;
    }
    if (!path.startsWith(u'/') || path.endsWith(u'/')) {
        return false;
    }
    bool afterSlash = true;
    for (qsizetype i = 1; i < path.size(); ++i) {
        const QChar c = path[i];
        if (c == u'/') {
            if (afterSlash) {
                return false;
            }
            afterSlash = true;
            continue;
        }
        const bool allowed =
            (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z') || (c >= u'0' && c <= u'9') || c == u'_';
        if (!allowed) {
            return false;
        }
        afterSlash = false;
    }
    return true;
}

// ---- DBusPlace ----------------------------------------------------------------------------------

QString DBusPlace::text() const {
    QString what = interface;
    if (!member.isEmpty()) {
        what = what.isEmpty() ? member : what + u'.' + member;
    }
    what += inner;
    QString out = what;
    if (!path.isEmpty()) {
        out += QStringLiteral(" at ") + path;
    }
    if (!service.isEmpty()) {
        out += QStringLiteral(" on ") + service;
    }
    return out;
}

DBusPlace DBusPlace::withInner(const QString& step) const {
    DBusPlace out = *this;
    out.inner += step;
    return out;
}

// ---- DBusField ----------------------------------------------------------------------------------

namespace {

QString keyStep(const QString& key) {
    return QStringLiteral("[%1]").arg(quoted(key));
}

std::map<QString, DBusValue> dictionaryEntries(const DBusValue& dict) {
    std::map<QString, DBusValue> out;
    for (const auto& [key, value] : dict.entries()) {
        // a{sv}: the value is a variant holding the entry's content.
        out.insert_or_assign(key.scalar().toString(),
                             value.elements().empty() ? DBusValue() : value.elements().front());
    }
    return out;
}

}  // namespace

DBusField::DBusField(DBusValue value, DBusPlace place) : value_(std::move(value)), place_(std::move(place)) {}

void DBusField::expect(const char* signature) const {
    const QString expected = QString::fromLatin1(signature);
    if (value_.signature() == expected) {
        return;
    }
    throw DBusReadError(DBusReadError::Kind::WrongType,
                        QStringLiteral("%1: expected %2, found %3: %4")
                            .arg(place_.text(), describeSignature(expected),
                                 describeSignature(value_.signature()), value_.shortText()));
}

void DBusField::failBadValue(const QString& why) const {
    throw DBusReadError(DBusReadError::Kind::BadValue, QStringLiteral("%1: %2").arg(place_.text(), why));
}

bool DBusField::readBool() const {
    expect("b");
    return value_.scalar().toBool();
}

std::uint8_t DBusField::readByte() const {
    expect("y");
    return static_cast<std::uint8_t>(value_.scalar().toUInt());
}

std::int32_t DBusField::readInt32() const {
    expect("i");
    return value_.scalar().toInt();
}

std::uint32_t DBusField::readUInt32() const {
    expect("u");
    return value_.scalar().toUInt();
}

std::int64_t DBusField::readInt64() const {
    expect("x");
    return value_.scalar().toLongLong();
}

std::uint64_t DBusField::readUInt64() const {
    expect("t");
    return value_.scalar().toULongLong();
}

QString DBusField::readString() const {
    expect("s");
    return value_.scalar().toString();
}

QString DBusField::readObjectPath() const {
    expect("o");
    return value_.scalar().value<QDBusObjectPath>().path();
}

QByteArray DBusField::readBytes() const {
    expect("ay");
    return value_.scalar().toByteArray();
}

QStringList DBusField::readStringList() const {
    expect("as");
    return value_.scalar().toStringList();
}

QStringList DBusField::readObjectPathList() const {
    expect("ao");
    QStringList out;
    for (const DBusValue& element : value_.elements()) {
        out << element.scalar().value<QDBusObjectPath>().path();
    }
    return out;
}

std::vector<std::uint32_t> DBusField::readUInt32List() const {
    expect("au");
    std::vector<std::uint32_t> out;
    for (const DBusValue& element : value_.elements()) {
        out.push_back(element.scalar().toUInt());
    }
    return out;
}

std::vector<QByteArray> DBusField::readByteArrayList() const {
    expect("aay");
    std::vector<QByteArray> out;
    for (const DBusValue& element : value_.elements()) {
        out.push_back(element.scalar().toByteArray());
    }
    return out;
}

DBusDict DBusField::readDict() const {
    expect("a{sv}");
    return DBusDict(dictionaryEntries(value_), place_);
}

DBusDict DBusField::readProperties() const {
    expect("a{sv}");
    return DBusDict(dictionaryEntries(value_), place_, DBusDict::Keys::Properties);
}

std::vector<DBusDict> DBusField::readDictList() const {
    expect("aa{sv}");
    std::vector<DBusDict> out;
    for (std::size_t i = 0; i < value_.elements().size(); ++i) {
        out.emplace_back(dictionaryEntries(value_.elements()[i]),
                         place_.withInner(QStringLiteral("[%1]").arg(i)));
    }
    return out;
}

// ---- DBusDict -----------------------------------------------------------------------------------

DBusDict::DBusDict(std::map<QString, DBusValue> values, DBusPlace place, Keys keys)
    : values_(std::move(values)), place_(std::move(place)), keys_(keys) {}

QStringList DBusDict::keys() const {
    QStringList out;
    for (const auto& [key, value] : values_) {
        out << key;
    }
    return out;
}

DBusPlace DBusDict::fieldPlace(const QString& key) const {
    if (keys_ == Keys::Properties) {
        DBusPlace out = place_;
        out.member = key;
        return out;
    }
    return place_.withInner(keyStep(key));
}

DBusField DBusDict::at(const QString& key) const {
    const auto found = values_.find(key);
    if (found == values_.end()) {
        const QStringList present = keys();
        throw DBusReadError(
            DBusReadError::Kind::Missing,
            QStringLiteral("%1 is missing: the %2 is not there (there are: %3)")
                .arg(fieldPlace(key).text(),
                     keys_ == Keys::Properties ? QStringLiteral("property") : QStringLiteral("key"),
                     present.isEmpty() ? QStringLiteral("none") : present.join(QStringLiteral(", "))));
    }
    return DBusField(found->second, fieldPlace(key));
}

std::optional<DBusField> DBusDict::find(const QString& key) const {
    const auto found = values_.find(key);
    if (found == values_.end()) {
        return std::nullopt;
    }
    return DBusField(found->second, fieldPlace(key));
}

// ---- DBusCaller ---------------------------------------------------------------------------------

namespace {

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
    // answers UnknownMethod for the Properties interface, which every object of its has.
    const bool propertyAccess =
        action == Action::Read || action == Action::ReadAll || action == Action::Write;
    if (name == QLatin1String("org.freedesktop.DBus.Error.UnknownObject") ||
        (propertyAccess && name == QLatin1String("org.freedesktop.DBus.Error.UnknownMethod"))) {
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

std::vector<DBusValue> callAt(const DBusCaller& caller, Action action, const DBusPlace& errorPlace,
                              const QString& path, const QString& interface, const QString& method,
                              const QVariantList& args, const QString& replySignature) {
    if (CallCancellation::cancelledOnThisThread()) {
        throw DBusReadError(DBusReadError::Kind::CallFailed,
                            QStringLiteral("%1 %2: cancelled").arg(verbOf(action), errorPlace.text()));
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
        caller.connection().call(message, QDBus::Block, static_cast<int>(caller.timeout().count()));
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
    std::vector<DBusValue> values = call(path, interface, method, args, replySignature);
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
