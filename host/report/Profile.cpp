#include "host/report/Profile.h"

#include "platform/foundation/Json.h"
#include "platform/foundation/JsonReader.h"
#include "platform/wifi/WiFiRecords.h"
#include "platform/wifi/sim/Scenario.h"

namespace report {

using platform::Dictionary;
using platform::DictionaryRef;
using platform::Value;

namespace {

constexpr const char* kFormat = "wifi-profile/1";

[[noreturn]] void refuse(const QString& file, const QString& place, const QString& why) {
    throw ProfileError{file, place, why};
}

// A field of an object read from the file: of the kind wanted, or refused naming its place.
Value field(const DictionaryRef& object, const QString& key, Value::Kind kind, const QString& file,
            const QString& place, bool optional = false) {
    const auto value = object->value(key);
    const QString at = place.isEmpty() ? key : place + QLatin1Char('.') + key;
    if (!value) {
        if (optional) {
            return Value::null();
        }
        refuse(file, at, QStringLiteral("missing"));
    }
    const bool numberWanted = kind == Value::Kind::Int && value->isNumber();
    if (value->kind() != kind && !numberWanted && !(optional && value->isNull())) {
        refuse(file, at,
               QStringLiteral("expected %1, got %2")
                   .arg(QString::fromLatin1(Value::kindName(kind)),
                        QString::fromLatin1(Value::kindName(value->kind()))));
    }
    return *value;
}

// A value as the file holds it: its typed form ({"$record": ...} and the other tags) read back.
Value typed(const Value& json, const QString& file, const QString& place) {
    try {
        return platform::sim::typedValueFromJson(json, file, place);
    } catch (const platform::sim::ScenarioError& e) {
        refuse(file, e.place(), e.why());
    }
}

Value answerToValue(const ServiceAnswer& a) {
    auto entry = Dictionary::make({{QStringLiteral("testID"), Value::integer(a.testID)}});
    if (a.configuration) {
        entry->set(QStringLiteral("configuration"), Value::dictionary(a.configuration));
    }
    if (a.answer) {
        entry->set(QStringLiteral("answer"), Value::dictionary(a.answer));
    }
    if (a.errorCode) {
        entry->set(QStringLiteral("errorCode"), Value::integer(*a.errorCode));
        entry->set(QStringLiteral("errorText"), Value::string(a.errorText));
    }
    if (a.byHost) {
        entry->set(QStringLiteral("byHost"), Value::boolean(true));
    }
    return Value::dictionary(entry);
}

}  // namespace

bool ServiceAnswer::aboutSelectedNetwork() const {
    return configuration && configuration->contains(QStringLiteral("NetworkName"));
}

QString ProfileError::text() const {
    return place.isEmpty() ? QStringLiteral("%1: %2").arg(file, why)
                           : QStringLiteral("%1, at %2: %3").arg(file, place, why);
}

std::optional<std::int64_t> Profile::statusCode() const {
    if (result.kind() != Value::Kind::Dictionary) {
        return std::nullopt;
    }
    const auto code = result.toDictionary()->value(QStringLiteral("statusCode"));
    return code && code->isNumber() ? std::optional<std::int64_t>(code->toInt()) : std::nullopt;
}

bool Profile::finished() const {
    if (result.kind() != Value::Kind::Dictionary) {
        return false;
    }
    const auto flag = result.toDictionary()->value(QStringLiteral("finished"));
    return !flag || flag->kind() != Value::Kind::Bool || flag->toBool();
}

DictionaryRef Profile::group(const QString& name) const {
    if (result.kind() != Value::Kind::Dictionary) {
        return nullptr;
    }
    const auto data = result.toDictionary()->value(QStringLiteral("data"));
    if (!data || data->kind() != Value::Kind::Dictionary) {
        return nullptr;
    }
    const auto group = data->toDictionary()->value(name);
    return group && group->kind() == Value::Kind::Dictionary ? group->toDictionary() : nullptr;
}

const ServiceAnswer* Profile::lastAnswer(std::int64_t testID, bool selected) const {
    for (auto it = answers.rbegin(); it != answers.rend(); ++it) {
        if (it->testID == testID && it->aboutSelectedNetwork() == selected && !it->byHost) {
            return &*it;
        }
    }
    return nullptr;
}

std::vector<std::shared_ptr<const platform::WiFiScanResult>> Profile::scan() const {
    // Test 30's list holds the hidden networks only: no picture of the networks around.
    for (auto it = answers.rbegin(); it != answers.rend(); ++it) {
        if (it->testID != 31 || !it->answer) {
            continue;
        }
        const auto info = it->answer->value(QStringLiteral("info"));
        if (!info || info->kind() != Value::Kind::Dictionary) {
            continue;
        }
        const auto list = info->toDictionary()->value(QStringLiteral("ScanResults"));
        if (!list || list->kind() != Value::Kind::Array) {
            continue;
        }
        std::vector<std::shared_ptr<const platform::WiFiScanResult>> scan;
        for (const Value& entry : *list->toArray()) {
            if (auto record = entry.recordAs<platform::WiFiScanResult>()) {
                scan.push_back(std::move(record));
            }
        }
        return scan;
    }
    return {};
}

QByteArray profileToJson(const Profile& profile) {
    auto answers = std::make_shared<platform::Array>();
    for (const ServiceAnswer& a : profile.answers) {
        answers->push_back(answerToValue(a));
    }
    auto log = std::make_shared<platform::Array>();
    for (const LogLine& line : profile.log) {
        log->push_back(
            Value::dictionary(Dictionary::make({{QStringLiteral("category"), Value::integer(line.category)},
                                                {QStringLiteral("level"), Value::integer(line.level)},
                                                {QStringLiteral("message"), Value::string(line.message)}})));
    }
    const ProfileMetadata& m = profile.metadata;
    auto metadata = Dictionary::make({
        {QStringLiteral("backend"), Value::string(m.backend)},
        {QStringLiteral("scenario"), Value::string(m.scenario)},
        {QStringLiteral("machine"), Value::string(m.machine)},
        {QStringLiteral("version"), Value::string(m.version)},
        {QStringLiteral("qtVersion"), Value::string(m.qtVersion)},
        {QStringLiteral("started"), Value::string(m.started.toUTC().toString(Qt::ISODate))},
        {QStringLiteral("durationMs"), Value::integer(m.durationMs)},
        {QStringLiteral("redacted"), Value::boolean(m.redacted)},
    });
    if (m.parameters) {
        metadata->set(QStringLiteral("parameters"), Value::dictionary(m.parameters));
    }
    const Dictionary whole{{QStringLiteral("format"), Value::string(QString::fromLatin1(kFormat))},
                           {QStringLiteral("result"), profile.result},
                           {QStringLiteral("answers"), Value::array(answers)},
                           {QStringLiteral("log"), Value::array(log)},
                           {QStringLiteral("metadata"), Value::dictionary(metadata)}};
    return platform::toJson(whole) + '\n';
}

Profile profileFromJson(const QByteArray& json, const QString& file) {
    Value parsed = Value::null();
    try {
        parsed = platform::parseJson(json);
    } catch (const platform::JsonParseError& e) {
        refuse(file, QString(), e.message());
    }
    if (parsed.kind() != Value::Kind::Dictionary) {
        refuse(file, QString(), QStringLiteral("a saved profile is a JSON object"));
    }
    const DictionaryRef root = parsed.toDictionary();
    const QString format =
        field(root, QStringLiteral("format"), Value::Kind::String, file, QString()).toString();
    if (format != QLatin1String(kFormat)) {
        refuse(file, QStringLiteral("format"),
               QStringLiteral("\"%1\" is not a saved profile of this version (\"%2\")")
                   .arg(format, QString::fromLatin1(kFormat)));
    }
    Profile profile;
    profile.result = field(root, QStringLiteral("result"), Value::Kind::Dictionary, file, QString());
    const DictionaryRef result = profile.result.toDictionary();
    if (const auto code = result->value(QStringLiteral("statusCode"));
        !code || !(code->isNumber() || code->isNull())) {
        refuse(file, QStringLiteral("result.statusCode"), QStringLiteral("expected a number or null"));
    }
    if (const auto data = result->value(QStringLiteral("data"));
        !data || !(data->kind() == Value::Kind::Dictionary || data->isNull())) {
        refuse(file, QStringLiteral("result.data"), QStringLiteral("expected an object or null"));
    }

    const auto answers =
        field(root, QStringLiteral("answers"), Value::Kind::Array, file, QString()).toArray();
    for (std::size_t i = 0; i < answers->size(); ++i) {
        const QString place = QStringLiteral("answers[%1]").arg(i);
        const Value& entry = answers->at(i);
        if (entry.kind() != Value::Kind::Dictionary) {
            refuse(file, place, QStringLiteral("expected an object"));
        }
        const DictionaryRef a = entry.toDictionary();
        ServiceAnswer answer;
        answer.testID = field(a, QStringLiteral("testID"), Value::Kind::Int, file, place).toInt();
        if (const Value c =
                field(a, QStringLiteral("configuration"), Value::Kind::Dictionary, file, place, true);
            !c.isNull()) {
            answer.configuration = c.toDictionary();
        }
        if (const Value r = field(a, QStringLiteral("answer"), Value::Kind::Dictionary, file, place, true);
            !r.isNull()) {
            answer.answer = typed(r, file, place + QStringLiteral(".answer")).toDictionary();
        }
        if (const Value code = field(a, QStringLiteral("errorCode"), Value::Kind::Int, file, place, true);
            !code.isNull()) {
            answer.errorCode = code.toInt();
            answer.errorText =
                field(a, QStringLiteral("errorText"), Value::Kind::String, file, place).toString();
        }
        const Value byHost = field(a, QStringLiteral("byHost"), Value::Kind::Bool, file, place, true);
        answer.byHost = byHost.kind() == Value::Kind::Bool && byHost.toBool();
        profile.answers.push_back(std::move(answer));
    }

    const auto log = field(root, QStringLiteral("log"), Value::Kind::Array, file, QString()).toArray();
    for (std::size_t i = 0; i < log->size(); ++i) {
        const QString place = QStringLiteral("log[%1]").arg(i);
        if (log->at(i).kind() != Value::Kind::Dictionary) {
            refuse(file, place, QStringLiteral("expected an object"));
        }
        const DictionaryRef l = log->at(i).toDictionary();
        profile.log.push_back(LogLine{
            static_cast<int>(field(l, QStringLiteral("category"), Value::Kind::Int, file, place).toInt()),
            static_cast<int>(field(l, QStringLiteral("level"), Value::Kind::Int, file, place).toInt()),
            field(l, QStringLiteral("message"), Value::Kind::String, file, place).toString()});
    }

    const DictionaryRef m =
        field(root, QStringLiteral("metadata"), Value::Kind::Dictionary, file, QString()).toDictionary();
    const QString mp = QStringLiteral("metadata");
    ProfileMetadata& meta = profile.metadata;
    meta.backend = field(m, QStringLiteral("backend"), Value::Kind::String, file, mp).toString();
    meta.scenario = field(m, QStringLiteral("scenario"), Value::Kind::String, file, mp).toString();
    meta.machine = field(m, QStringLiteral("machine"), Value::Kind::String, file, mp).toString();
    meta.version = field(m, QStringLiteral("version"), Value::Kind::String, file, mp).toString();
    meta.qtVersion = field(m, QStringLiteral("qtVersion"), Value::Kind::String, file, mp).toString();
    const QString started = field(m, QStringLiteral("started"), Value::Kind::String, file, mp).toString();
    meta.started = QDateTime::fromString(started, Qt::ISODate);
    if (!meta.started.isValid()) {
        refuse(file, QStringLiteral("metadata.started"),
               QStringLiteral("\"%1\" is no ISO 8601 time").arg(started));
    }
    meta.started = meta.started.toUTC();
    meta.durationMs = field(m, QStringLiteral("durationMs"), Value::Kind::Int, file, mp).toInt();
    meta.redacted = field(m, QStringLiteral("redacted"), Value::Kind::Bool, file, mp).toBool();
    if (const Value p = field(m, QStringLiteral("parameters"), Value::Kind::Dictionary, file, mp, true);
        !p.isNull()) {
        meta.parameters = p.toDictionary();
    }
    return profile;
}

}  // namespace report
