// The read errors, where a value was read (DBusPlace), and typed reads of fields and a{sv}
// dictionaries.
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

QString quotedText(const QString& text) {
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
    return QStringLiteral("[%1]").arg(quotedText(key));
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

}  // namespace platform::linuxwifi
