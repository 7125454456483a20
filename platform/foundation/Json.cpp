#include "platform/foundation/Json.h"

#include "platform/foundation/DateFormatter.h"

#include <charconv>
#include <cmath>
#include <cstdio>

namespace platform {

namespace {

void appendValue(QByteArray& out, const Value& value);

void appendDictionary(QByteArray& out, const Dictionary& dictionary, const QString* recordType = nullptr) {
    out += '{';
    bool first = true;
    if (recordType) {
        appendJsonString(out, QStringLiteral("$record"));
        out += ": ";
        appendJsonString(out, *recordType);
        first = false;
    }
    for (const auto& [key, value] : dictionary.entries()) {
        if (!first) {
            out += ", ";
        }
        first = false;
        appendJsonString(out, key);
        out += ": ";
        appendValue(out, value);
    }
    out += '}';
}

void appendValue(QByteArray& out, const Value& value) {
    switch (value.kind()) {
        case Value::Kind::Null:
            out += "null";
            break;
        case Value::Kind::Bool:
            out += value.toBool() ? "true" : "false";
            break;
        case Value::Kind::Int:
            out += QByteArray::number(static_cast<qlonglong>(value.toInt()));
            break;
        case Value::Kind::UInt:
            out += QByteArray::number(static_cast<qulonglong>(value.toUInt()));
            break;
        case Value::Kind::Double:
            appendJsonDouble(out, value.toDouble());
            break;
        case Value::Kind::String:
            appendJsonString(out, value.toString());
            break;
        case Value::Kind::Date:
            appendJsonString(out, iso8601String(value.toDate()));
            break;
        case Value::Kind::Array: {
            out += '[';
            bool first = true;
            for (const Value& element : *value.toArray()) {
                if (!first) {
                    out += ", ";
                }
                first = false;
                appendValue(out, element);
            }
            out += ']';
            break;
        }
        case Value::Kind::Dictionary:
            appendDictionary(out, *value.toDictionary());
            break;
        case Value::Kind::Record: {
            const RecordRef record = value.toRecord();
            const QString type = record->typeName();
            appendDictionary(out, *record->fields(), &type);
            break;
        }
    }
}

// Appends "\\u" and the four lowercase hex digits of unit.
void appendUnicodeEscape(QByteArray& out, unsigned unit) {
    char escaped[8];
    std::snprintf(escaped, sizeof escaped, "\\u%04x", unit);
    out += escaped;
}

// Appends UTF-8 text with the characters JSON requires escaped.
void appendEscapedUtf8(QByteArray& out, const QByteArray& utf8) {
    for (const char c : utf8) {
        const auto u = static_cast<unsigned char>(c);
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            case '\b':
                out += "\\b";
                break;
            case '\f':
                out += "\\f";
                break;
            default:
                if (u < 0x20) {
                    appendUnicodeEscape(out, u);
                } else {
                    out += c;
                }
        }
    }
}

}  // namespace

void appendJsonString(QByteArray& out, const QString& s) {
    out += '"';
    // Text is written as UTF-8, but half a surrogate pair has no UTF-8 form: it is written as its
    // \u escape, so that the text reads back unit for unit and two keys never become one.
    const QStringView text(s);
    qsizetype runStart = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        if (!c.isSurrogate()) {
            continue;
        }
        if (c.isHighSurrogate() && i + 1 < text.size() && text[i + 1].isLowSurrogate()) {
            ++i;
            continue;
        }
        appendEscapedUtf8(out, text.mid(runStart, i - runStart).toUtf8());
        appendUnicodeEscape(out, c.unicode());
        runStart = i + 1;
    }
    appendEscapedUtf8(out, text.mid(runStart).toUtf8());
    out += '"';
}

void appendJsonDouble(QByteArray& out, double d) {
    if (std::isnan(d)) {
        out += "NaN";
        return;
    }
    if (std::isinf(d)) {
        out += d > 0 ? "Infinity" : "-Infinity";
        return;
    }
    // Shortest round-trip digits in scientific form, e.g. "-1.2345e+02", then laid out as Python's
    // repr does: positional for exponents -4..15, scientific otherwise.
    char buffer[64];
    const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, d, std::chars_format::scientific);
    (void)ec;
    const std::string sci(buffer, end);
    const auto ePos = sci.find('e');
    std::string mantissa = sci.substr(0, ePos);
    const int exponent = std::stoi(sci.substr(ePos + 1));
    std::string sign;
    if (!mantissa.empty() && mantissa[0] == '-') {
        sign = "-";
        mantissa.erase(0, 1);
    }
    std::string digits;
    for (const char c : mantissa) {
        if (c != '.') {
            digits += c;
        }
    }
    std::string text;
    if (exponent < -4 || exponent >= 16) {
        text = digits.substr(0, 1);
        if (digits.size() > 1) {
            text += "." + digits.substr(1);
        }
        char exp[16];
        std::snprintf(exp, sizeof exp, "e%c%02d", exponent < 0 ? '-' : '+', std::abs(exponent));
        text += exp;
    } else if (exponent < 0) {
        text = "0." + std::string(static_cast<std::size_t>(-exponent - 1), '0') + digits;
    } else {
        const auto pointAt = static_cast<std::size_t>(exponent) + 1;
        if (digits.size() <= pointAt) {
            text = digits + std::string(pointAt - digits.size(), '0') + ".0";
        } else {
            text = digits.substr(0, pointAt) + "." + digits.substr(pointAt);
        }
    }
    out += sign.c_str();
    out += text.c_str();
}

QByteArray toJson(const Value& value) {
    QByteArray out;
    appendValue(out, value);
    return out;
}

QByteArray toJson(const Dictionary& dictionary) {
    QByteArray out;
    appendDictionary(out, dictionary);
    return out;
}

}  // namespace platform
