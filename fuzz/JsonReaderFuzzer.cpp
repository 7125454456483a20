// Fuzzes the platform's strict JSON reader (parseJson, tryParseJson) on arbitrary bytes. Beyond
// not crashing, every input must either give a value or a JsonParseError whose position lies inside
// the text; an accepted value must survive the platform's JSON writer and read back equal, with the
// same text when written again; tryParseJson must agree with parseJson; and the depth limit must
// take exactly the values that nest no deeper than it allows.
#include "fuzz/FuzzSupport.h"
#include "platform/foundation/Json.h"
#include "platform/foundation/JsonReader.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>

using fuzzsupport::excerpt;
using fuzzsupport::require;
using platform::Value;

namespace {

constexpr int kShallowDepth = 4;

// How deep arrays and objects nest in value: 0 for a scalar, 1 for a flat container.
int depthOf(const Value& value) {
    int inner = 0;
    if (value.kind() == Value::Kind::Array) {
        for (const Value& element : *value.toArray()) {
            inner = std::max(inner, depthOf(element));
        }
        return inner + 1;
    }
    if (value.kind() == Value::Kind::Dictionary) {
        for (const auto& entry : value.toDictionary()->entries()) {
            inner = std::max(inner, depthOf(entry.second));
        }
        return inner + 1;
    }
    return 0;
}

void checkError(const platform::JsonParseError& error, const QByteArray& text) {
    require(error.line() >= 1 && error.column() >= 1, "a parse error's line and column count from 1",
            error.message() + QStringLiteral("\ninput: ") + excerpt(text));
    require(error.line() <= text.count('\n') + 1, "a parse error's line lies inside the text",
            error.message() + QStringLiteral("\ninput: ") + excerpt(text));
    require(!error.reason().isEmpty(), "a parse error says why", excerpt(text));
    require(error.message() == QString::fromUtf8(error.what()), "what() reads as message()", error.message());
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    fuzzsupport::startQt();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray text(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));

    std::optional<Value> value;
    QString failure;
    try {
        value = platform::parseJson(text);
    } catch (const platform::JsonParseError& error) {
        checkError(error, text);
        failure = error.message();
    }

    QString tryFailure;
    const std::optional<Value> tried = platform::tryParseJson(text, &tryFailure);
    require(tried.has_value() == value.has_value(), "tryParseJson accepts what parseJson accepts",
            excerpt(text));
    require(tryFailure == failure, "tryParseJson reports the error parseJson throws",
            tryFailure + QStringLiteral(" / ") + failure);

    platform::JsonReadOptions shallow;
    shallow.maxDepth = kShallowDepth;
    QString shallowFailure;
    const std::optional<Value> limited = platform::tryParseJson(text, &shallowFailure, shallow);

    if (!value) {
        require(!limited, "a text rejected at the default depth is rejected at a smaller one", excerpt(text));
        return 0;
    }
    require(*tried == *value, "tryParseJson reads the value parseJson reads", excerpt(text));
    if (depthOf(*value) <= kShallowDepth) {
        require(limited && *limited == *value, "a value within the depth limit reads the same",
                shallowFailure + QStringLiteral("\ninput: ") + excerpt(text));
    } else {
        require(!limited && shallowFailure.contains(QStringLiteral("nest deeper")),
                "a value beyond the depth limit is refused for its depth",
                shallowFailure + QStringLiteral("\ninput: ") + excerpt(text));
    }

    const QByteArray written = platform::toJson(*value);
    QString rereadFailure;
    const std::optional<Value> reread = platform::tryParseJson(written, &rereadFailure);
    require(reread.has_value(), "what the writer makes of a read value reads back",
            rereadFailure + QStringLiteral("\nwritten: ") + excerpt(written));
    require(*reread == *value, "a value written and read back is the same value",
            QStringLiteral("input: ") + excerpt(text) + QStringLiteral("\nwritten: ") + excerpt(written));
    require(platform::toJson(*reread) == written, "writing the value read back gives the same text",
            excerpt(written));
    return 0;
}
