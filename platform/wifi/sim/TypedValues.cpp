#include "platform/wifi/sim/TypedValues.h"

#include "platform/wifi/WiFiRecords.h"
#include "platform/wifi/sim/Scenario.h"

#include <QDateTime>
#include <QStringList>

#include <functional>
#include <limits>
#include <memory>

namespace platform::sim {

namespace {

QString inQuotes(const QString& s) {
    return QLatin1Char('"') + s + QLatin1Char('"');
}

QString joined(const QStringList& names) {
    return names.join(QStringLiteral(", "));
}

// The one-key object {"<tag>": ...}, when value is one; its content then carries the tag's path.
std::optional<JsonField> taggedContent(const JsonField& value, const QString& tag) {
    if (value.kind() != Value::Kind::Dictionary) {
        return std::nullopt;
    }
    const JsonObjectFields object = value.readObject();
    if (object.size() != 1) {
        return std::nullopt;
    }
    return object.find(tag);
}

Date readIsoDate(const JsonField& value) {
    const QString text = value.readString();
    const QDateTime t = QDateTime::fromString(text, Qt::ISODateWithMs);
    if (!t.isValid()) {
        value.fail(QStringLiteral("expected an ISO 8601 date such as \"2026-11-20T10:00:00Z\", got %1")
                       .arg(inQuotes(text)));
    }
    if (t.timeSpec() == Qt::LocalTime) {
        value.fail(QStringLiteral("the date %1 needs a time zone: Z or an offset such as +02:00")
                       .arg(inQuotes(text)));
    }
    return Date::fromSecondsSince1970(static_cast<double>(t.toMSecsSinceEpoch()) / 1000.0);
}

// A date written as an ISO 8601 string or as {"$date": "..."}.
Date readDateField(const JsonField& value) {
    if (const auto content = taggedContent(value, QStringLiteral("$date"))) {
        return readIsoDate(*content);
    }
    if (!value.value().isString()) {
        value.failExpected(QStringLiteral("an ISO 8601 date string or {\"$date\": ...}"));
    }
    return readIsoDate(value);
}

// The content of {"$double": ...}: a number, or one of the words for what JSON has no number for.
double readTaggedDouble(const JsonField& value) {
    if (value.value().isNumber()) {
        return value.value().toDouble();
    }
    if (value.value().isString()) {
        const QString s = value.value().toString();
        if (s == QLatin1String("NaN")) {
            return std::numeric_limits<double>::quiet_NaN();
        }
        if (s == QLatin1String("Infinity")) {
            return std::numeric_limits<double>::infinity();
        }
        if (s == QLatin1String("-Infinity")) {
            return -std::numeric_limits<double>::infinity();
        }
        value.fail(QStringLiteral("expected a number, \"NaN\", \"Infinity\" or \"-Infinity\", got %1")
                       .arg(inQuotes(s)));
    }
    value.failExpected(QStringLiteral("a number, \"NaN\", \"Infinity\" or \"-Infinity\""));
}

// A number of any kind, or {"$double": ...}; gives a double.
double readDoubleField(const JsonField& value) {
    if (const auto content = taggedContent(value, QStringLiteral("$double"))) {
        return readTaggedDouble(*content);
    }
    return value.readNumber();
}

// Seconds since 2001-01-01 00:00:00 UTC, or a date written out.
double readPingTimestamp(const JsonField& value) {
    if (value.value().isNumber()) {
        return value.value().toDouble();
    }
    if (value.kind() != Value::Kind::Dictionary && !value.value().isString()) {
        value.failExpected(QStringLiteral("seconds since 2001-01-01 as a number, or a date"));
    }
    return readDateField(value).secondsSinceReferenceDate();
}

// One field of a record: its name, whether it may be left out (or null), and how it is read.
struct RecordField {
    QString name;
    bool optional;
    std::function<void(const JsonField&)> read;
};

// Reads the fields of a record of the given type, after rejecting the fields it does not have.
void readRecordFields(const JsonObjectFields& object, const QString& type,
                      const std::vector<RecordField>& fields) {
    QStringList names;
    for (const RecordField& f : fields) {
        names.append(f.name);
    }
    names.sort();
    for (const QString& k : object.keys()) {
        if (k != QLatin1String("$record") && !names.contains(k)) {
            object.failAt(k, QStringLiteral("unknown field %1 of a %2 record (fields: %3)")
                                 .arg(inQuotes(k), type, joined(names)));
        }
    }
    for (const RecordField& f : fields) {
        const std::optional<JsonField> value = object.find(f.name);
        if (!value || (f.optional && value->isNull())) {
            if (!f.optional) {
                object.fail(QStringLiteral("a %1 record needs the field %2").arg(type, inQuotes(f.name)));
            }
            continue;
        }
        f.read(*value);
    }
}

RecordRef readRecord(const JsonObjectFields& object) {
    const JsonField typeField = *object.find(QStringLiteral("$record"));
    const QString type = typeField.readString();
    const auto text = [](std::optional<QString>& out) {
        return [&out](const JsonField& v) { out = v.readString(); };
    };
    const auto integer = [](std::int64_t& out) { return [&out](const JsonField& v) { out = v.readInt(); }; };
    const auto optionalInteger = [](std::optional<std::int64_t>& out) {
        return [&out](const JsonField& v) { out = v.readInt(); };
    };
    const auto number = [](double& out) { return [&out](const JsonField& v) { out = readDoubleField(v); }; };
    const auto flag = [](bool& out) { return [&out](const JsonField& v) { out = v.readBool(); }; };
    if (type == QLatin1String("WiFiScanResult")) {
        auto r = std::make_shared<WiFiScanResult>();
        readRecordFields(
            object, type,
            {{QStringLiteral("ssidString"), true, text(r->ssidString)},
             {QStringLiteral("bssid"), false, [&](const JsonField& v) { r->bssid = v.readString(); }},
             {QStringLiteral("rssi"), false, integer(r->rssi)},
             {QStringLiteral("channel"), true, optionalInteger(r->channel)}});
        return r;
    }
    if (type == QLatin1String("WiFiPingResult")) {
        auto r = std::make_shared<WiFiPingResult>();
        readRecordFields(object, type,
                         {{QStringLiteral("interfaceName"), true, text(r->interfaceName)},
                          {QStringLiteral("count"), false, integer(r->count)},
                          {QStringLiteral("packetLoss"), false, number(r->packetLoss)},
                          {QStringLiteral("min"), false, number(r->min)},
                          {QStringLiteral("max"), false, number(r->max)},
                          {QStringLiteral("avg"), false, number(r->avg)},
                          {QStringLiteral("stddev"), false, number(r->stddev)},
                          {QStringLiteral("timestamp"), false,
                           [&](const JsonField& v) { r->timestamp = readPingTimestamp(v); }}});
        return r;
    }
    if (type == QLatin1String("WiFiChannel")) {
        auto r = std::make_shared<WiFiChannel>();
        readRecordFields(object, type,
                         {{QStringLiteral("channel"), false, integer(r->channel)},
                          {QStringLiteral("band"), true, optionalInteger(r->band)},
                          {QStringLiteral("width"), true, optionalInteger(r->width)}});
        return r;
    }
    if (type == QLatin1String("NetworkProfile")) {
        auto r = std::make_shared<NetworkProfile>();
        readRecordFields(object, type,
                         {{QStringLiteral("ssidString"), true, text(r->ssidString)},
                          {QStringLiteral("security"), false, integer(r->security)},
                          {QStringLiteral("isPasspoint"), false, flag(r->isPasspoint)},
                          {QStringLiteral("isEnabled"), false, flag(r->isEnabled)},
                          {QStringLiteral("isCaptive"), false, flag(r->isCaptive)},
                          {QStringLiteral("isHidden"), false, flag(r->isHidden)},
                          {QStringLiteral("isMultiAP"), false, flag(r->isMultiAP)},
                          {QStringLiteral("lastJoinedTimestamp"), true,
                           [&](const JsonField& v) { r->lastJoinedTimestamp = readDateField(v); }}});
        return r;
    }
    typeField.fail(QStringLiteral("unknown record type %1 (known types: NetworkProfile, WiFiChannel, "
                                  "WiFiPingResult, WiFiScanResult)")
                       .arg(inQuotes(type)));
}

// An object: a dictionary of typed values, or one of the tagged forms. Keys that start with '$'
// are reserved for the tags, so a misspelt tag is reported instead of kept as a plain key.
Value readTypedObject(const JsonObjectFields& object) {
    static const QStringList kTags = {QStringLiteral("$double"), QStringLiteral("$unsigned"),
                                      QStringLiteral("$date"), QStringLiteral("$record")};
    const QStringList keys = object.keys();
    QString tag;
    for (const QString& k : keys) {
        if (!k.startsWith(u'$')) {
            continue;
        }
        if (!kTags.contains(k)) {
            object.failAt(k,
                          QStringLiteral("unknown tag %1 (known tags: %2)").arg(inQuotes(k), joined(kTags)));
        }
        if (!tag.isEmpty()) {
            object.fail(QStringLiteral("an object has at most one tag, found %1 and %2")
                            .arg(inQuotes(tag), inQuotes(k)));
        }
        tag = k;
    }
    if (tag.isEmpty()) {
        auto out = Dictionary::make();
        for (const auto& [k, value] : object.entries()) {
            out->set(k, readTypedValue(value));
        }
        return Value::dictionary(out);
    }
    if (tag == QLatin1String("$record")) {
        return Value::record(readRecord(object));
    }
    if (keys.size() != 1) {
        for (const QString& k : keys) {
            if (k != tag) {
                object.failAt(k, QStringLiteral("a %1 value takes no other keys, found %2")
                                     .arg(inQuotes(tag), inQuotes(k)));
            }
        }
    }
    const JsonField inner = *object.find(tag);
    if (tag == QLatin1String("$double")) {
        return Value::number(readTaggedDouble(inner));
    }
    if (tag == QLatin1String("$unsigned")) {
        if (inner.kind() == Value::Kind::UInt) {
            return inner.value();
        }
        if (inner.kind() == Value::Kind::Int) {
            if (inner.value().toInt() < 0) {
                inner.fail(QStringLiteral("an unsigned integer cannot be negative, got %1")
                               .arg(inner.value().toInt()));
            }
            return Value::unsignedInteger(static_cast<std::uint64_t>(inner.value().toInt()));
        }
        inner.failExpected(QStringLiteral("a non-negative integer"));
    }
    return Value::date(readIsoDate(inner));
}

}  // namespace

Value readTypedValue(const JsonField& json) {
    switch (json.kind()) {
        case Value::Kind::Array: {
            auto out = std::make_shared<Array>();
            for (const JsonField& element : json.readArray()) {
                out->push_back(readTypedValue(element));
            }
            return Value::array(out);
        }
        case Value::Kind::Dictionary:
            return readTypedObject(json.readObject());
        default:
            return json.value();
    }
}

Value typedValueFromJson(const Value& json, const QString& file, const QString& place) {
    try {
        return readTypedValue(JsonField(json, place));
    } catch (const JsonFieldError& e) {
        throw ScenarioError(file, e.place(), e.why());
    }
}

}  // namespace platform::sim
