// DBusValue: D-Bus values converted once from QtDBus's forms into trees read by type, and how
// error texts describe them.
#include "platform/wifi/linux/DBusReading.h"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDBusSignature>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <QMetaType>

#include <algorithm>

namespace platform::linuxwifi {

namespace {

// Error texts quote values; a value's text is cut after this many characters.
constexpr qsizetype kShortTextLimit = 120;

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
        return cut(quotedText(scalar_.toString()));
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
            parts << quotedText(s);
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

}  // namespace platform::linuxwifi
