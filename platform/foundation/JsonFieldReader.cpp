#include "platform/foundation/JsonFieldReader.h"

#include "platform/foundation/JsonReader.h"

#include <limits>

namespace platform {

namespace {

QString composeMessage(const QString& place, const QString& why) {
    return place.isEmpty() ? why : place + QStringLiteral(": ") + why;
}

QString quoted(const QString& s) {
    return QLatin1Char('"') + s + QLatin1Char('"');
}

}  // namespace

JsonFieldError::JsonFieldError(QString place, QString why)
    : std::runtime_error(composeMessage(place, why).toStdString()),
      place_(std::move(place)),
      why_(std::move(why)) {}

InputFileError::InputFileError(QString file, QString place, QString why)
    : std::runtime_error((place.isEmpty() ? QStringLiteral("%1: %2").arg(file, why)
                                          : QStringLiteral("%1: %2: %3").arg(file, place, why))
                             .toStdString()),
      file_(std::move(file)),
      place_(std::move(place)),
      why_(std::move(why)) {}

QString jsonKindPhrase(const Value& value) {
    switch (value.kind()) {
        case Value::Kind::Null:
            return QStringLiteral("null");
        case Value::Kind::Bool:
            return QStringLiteral("a boolean");
        case Value::Kind::Int:
            return QStringLiteral("an integer");
        case Value::Kind::UInt:
            return QStringLiteral("an unsigned integer");
        case Value::Kind::Double:
            return QStringLiteral("a fraction");
        case Value::Kind::String:
            return QStringLiteral("a string");
        case Value::Kind::Date:
            return QStringLiteral("a date");
        case Value::Kind::Array:
            return QStringLiteral("an array");
        case Value::Kind::Dictionary:
            return QStringLiteral("an object");
        case Value::Kind::Record:
            return QStringLiteral("a record");
    }
    return QStringLiteral("a value");
}

// ----- JsonField -----------------------------------------------------------------------------------

JsonField::JsonField(Value value, QString path) : value_(std::move(value)), path_(std::move(path)) {}

void JsonField::fail(const QString& why) const {
    throw JsonFieldError(path_, why);
}

void JsonField::failExpected(const QString& expected) const {
    fail(QStringLiteral("expected %1, got %2").arg(expected, jsonKindPhrase(value_)));
}

bool JsonField::readBool() const {
    if (!value_.isBool()) {
        failExpected(QStringLiteral("a boolean"));
    }
    return value_.toBool();
}

std::int64_t JsonField::readInt() const {
    if (value_.kind() == Value::Kind::UInt) {
        fail(QStringLiteral("integer %1 is too large (at most %2)")
                 .arg(value_.toUInt())
                 .arg(std::numeric_limits<std::int64_t>::max()));
    }
    if (value_.kind() != Value::Kind::Int) {
        failExpected(QStringLiteral("an integer"));
    }
    return value_.toInt();
}

std::int64_t JsonField::readIntInRange(std::int64_t low, std::int64_t high) const {
    const std::int64_t i = readInt();
    if (i < low || i > high) {
        fail(QStringLiteral("expected an integer from %1 to %2, got %3").arg(low).arg(high).arg(i));
    }
    return i;
}

QString JsonField::readString() const {
    if (!value_.isString()) {
        failExpected(QStringLiteral("a string"));
    }
    return value_.toString();
}

QString JsonField::readNonEmptyString() const {
    const QString s = readString();
    if (s.isEmpty()) {
        fail(QStringLiteral("expected a non-empty string"));
    }
    return s;
}

double JsonField::readNumber() const {
    if (!value_.isNumber()) {
        failExpected(QStringLiteral("a number"));
    }
    return value_.toDouble();
}

JsonObjectFields JsonField::readObject() const {
    if (value_.kind() != Value::Kind::Dictionary) {
        failExpected(QStringLiteral("an object"));
    }
    return JsonObjectFields(value_.toDictionary(), path_);
}

std::vector<JsonField> JsonField::readArray(const QString& expected) const {
    if (value_.kind() != Value::Kind::Array) {
        failExpected(expected);
    }
    const ArrayRef array = value_.toArray();
    std::vector<JsonField> elements;
    elements.reserve(array->size());
    for (std::size_t i = 0; i < array->size(); ++i) {
        elements.emplace_back((*array)[i], jsonPathWithIndex(path_, static_cast<qsizetype>(i)));
    }
    return elements;
}

// ----- JsonObjectFields ----------------------------------------------------------------------------

JsonObjectFields::JsonObjectFields(DictionaryRef object, QString path)
    : object_(std::move(object)), path_(std::move(path)) {}

QString JsonObjectFields::pathOf(const QString& key) const {
    return jsonPathWithKey(path_, key);
}

void JsonObjectFields::fail(const QString& why) const {
    throw JsonFieldError(path_, why);
}

void JsonObjectFields::failAt(const QString& key, const QString& why) const {
    throw JsonFieldError(pathOf(key), why);
}

std::optional<JsonField> JsonObjectFields::find(const QString& key) const {
    std::optional<Value> value = object_->value(key);
    if (!value) {
        return std::nullopt;
    }
    return JsonField(std::move(*value), pathOf(key));
}

JsonField JsonObjectFields::require(const QString& key, const QString& what) const {
    std::optional<JsonField> field = find(key);
    if (!field) {
        fail(QStringLiteral("%1 needs the key %2").arg(what, quoted(key)));
    }
    return std::move(*field);
}

std::vector<std::pair<QString, JsonField>> JsonObjectFields::entries() const {
    std::vector<std::pair<QString, JsonField>> fields;
    for (auto& [key, value] : object_->entries()) {
        fields.emplace_back(key, JsonField(std::move(value), pathOf(key)));
    }
    return fields;
}

void JsonObjectFields::rejectUnknownKeys(const QStringList& known, const QString& what) const {
    for (const QString& key : object_->keys()) {
        if (!known.contains(key)) {
            QStringList sorted = known;
            sorted.sort();
            failAt(key, QStringLiteral("unknown key %1 in %2 (known keys: %3)")
                            .arg(quoted(key), what, sorted.join(QStringLiteral(", "))));
        }
    }
}

}  // namespace platform
