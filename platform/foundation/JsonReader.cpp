#include "platform/foundation/JsonReader.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace platform {

JsonParseError::JsonParseError(int line, int column, QString reason)
    : std::runtime_error(
          QStringLiteral("line %1, column %2: %3").arg(line).arg(column).arg(reason).toStdString()),
      line_(line),
      column_(column),
      reason_(std::move(reason)) {}

QString JsonParseError::position() const {
    return QStringLiteral("line %1, column %2").arg(line_).arg(column_);
}

QString JsonParseError::message() const {
    return position() + QStringLiteral(": ") + reason_;
}

namespace {

bool isIdentifier(const QString& key) {
    if (key.isEmpty()) {
        return false;
    }
    for (qsizetype i = 0; i < key.size(); ++i) {
        const QChar c = key.at(i);
        const bool letter = (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || c == u'_' || c == u'$';
        const bool digit = c >= u'0' && c <= u'9';
        if (!letter && !(digit && i > 0)) {
            return false;
        }
    }
    return true;
}

// A key as a message shows it: in quotes, with quotes and backslashes escaped and control
// characters and halves of surrogate pairs written as JSON escapes, so that no key can cut a
// message short, break its line or change when the message is written as UTF-8.
QString quotedKey(const QString& key) {
    QString out = QStringLiteral("\"");
    for (qsizetype i = 0; i < key.size(); ++i) {
        const QChar c = key[i];
        const bool pair = c.isHighSurrogate() && i + 1 < key.size() && key[i + 1].isLowSurrogate();
        if (c == u'"' || c == u'\\') {
            out += u'\\';
            out += c;
        } else if (pair) {
            out += c;
            out += key[++i];
        } else if (c.unicode() < 0x20 || c.unicode() == 0x7F || c.isSurrogate()) {
            out += QStringLiteral("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
        } else {
            out += c;
        }
    }
    out += u'"';
    return out;
}

class Parser {
  public:
    Parser(const QByteArray& text, const JsonReadOptions& options)
        : data_(text.constData()), size_(static_cast<std::size_t>(text.size())), options_(options) {}

    Value parseDocument() {
        // A UTF-8 byte order mark is allowed in front of the text.
        if (size_ >= 3 && static_cast<unsigned char>(data_[0]) == 0xEF &&
            static_cast<unsigned char>(data_[1]) == 0xBB && static_cast<unsigned char>(data_[2]) == 0xBF) {
            pos_ = 3;
        }
        skipWhitespace();
        Value value = parseValue(0);
        skipWhitespace();
        if (pos_ < size_) {
            fail(pos_, QStringLiteral("unexpected %1 after the value").arg(describe(pos_)));
        }
        return value;
    }

  private:
    using Segment = std::variant<QString, qsizetype>;

    [[noreturn]] void fail(std::size_t at, const QString& reason) const {
        int line = 1, column = 1;
        for (std::size_t i = 0; i < at && i < size_; ++i) {
            const auto c = static_cast<unsigned char>(data_[i]);
            if (c == '\n') {
                ++line;
                column = 1;
            } else if ((c & 0xC0) != 0x80 && c != '\r') {
                ++column;  // continuation bytes belong to the character before them
            }
        }
        throw JsonParseError(line, column, reason);
    }

    // What stands at offset, for messages: 'x', U+0001, a non-ASCII character, or the end.
    QString describe(std::size_t at) const {
        if (at >= size_) {
            return QStringLiteral("the end of the text");
        }
        const auto c = static_cast<unsigned char>(data_[at]);
        if (c < 0x20 || c == 0x7F) {
            return QStringLiteral("U+%1").arg(c, 4, 16, QLatin1Char('0')).toUpper();
        }
        if (c >= 0x80) {
            return QStringLiteral("a non-ASCII character");
        }
        return QStringLiteral("'%1'").arg(QChar(c));
    }

    QString path() const {
        QString out;
        for (const Segment& s : path_) {
            if (const auto* key = std::get_if<QString>(&s)) {
                out = jsonPathWithKey(out, *key);
            } else {
                out = jsonPathWithIndex(out, std::get<qsizetype>(s));
            }
        }
        return out;
    }

    void skipWhitespace() {
        while (pos_ < size_) {
            const char c = data_[pos_];
            if (c != ' ' && c != '\t' && c != '\n' && c != '\r') {
                return;
            }
            ++pos_;
        }
    }

    bool startsWith(const char* word) const {
        const std::size_t n = std::char_traits<char>::length(word);
        return size_ - pos_ >= n && std::char_traits<char>::compare(data_ + pos_, word, n) == 0;
    }

    Value parseValue(int depth) {
        if (pos_ >= size_) {
            fail(pos_, QStringLiteral("expected a value, found the end of the text"));
        }
        const char c = data_[pos_];
        switch (c) {
            case '{':
                return parseObject(depth + 1);
            case '[':
                return parseArray(depth + 1);
            case '"':
                return Value::string(parseString());
            case 't':
                if (startsWith("true")) {
                    pos_ += 4;
                    return Value::boolean(true);
                }
                break;
            case 'f':
                if (startsWith("false")) {
                    pos_ += 5;
                    return Value::boolean(false);
                }
                break;
            case 'n':
                if (startsWith("null")) {
                    pos_ += 4;
                    return Value::null();
                }
                break;
            case 'N':
                if (startsWith("NaN")) {
                    pos_ += 3;
                    return Value::number(std::numeric_limits<double>::quiet_NaN());
                }
                break;
            case 'I':
                if (startsWith("Infinity")) {
                    pos_ += 8;
                    return Value::number(std::numeric_limits<double>::infinity());
                }
                break;
            default:
                if (c == '-' || (c >= '0' && c <= '9')) {
                    return parseNumber();
                }
        }
        fail(pos_, QStringLiteral("expected a value, found %1").arg(describe(pos_)));
    }

    void enter(int depth, std::size_t at) const {
        if (depth > options_.maxDepth) {
            fail(at, QStringLiteral("arrays and objects nest deeper than %1 levels").arg(options_.maxDepth));
        }
    }

    Value parseObject(int depth) {
        enter(depth, pos_);
        ++pos_;  // '{'
        auto dictionary = Dictionary::make();
        skipWhitespace();
        if (pos_ < size_ && data_[pos_] == '}') {
            ++pos_;
            return Value::dictionary(dictionary);
        }
        for (;;) {
            skipWhitespace();
            if (pos_ >= size_ || data_[pos_] != '"') {
                fail(pos_, QStringLiteral("expected a key in double quotes, found %1").arg(describe(pos_)));
            }
            const std::size_t keyAt = pos_;
            const QString key = parseString();
            if (dictionary->contains(key)) {
                path_.emplace_back(key);
                const QString where = path();
                path_.pop_back();
                fail(keyAt, QStringLiteral("duplicate key %1 (%2)").arg(quotedKey(key), where));
            }
            skipWhitespace();
            if (pos_ >= size_ || data_[pos_] != ':') {
                fail(pos_, QStringLiteral("expected ':' after the key, found %1").arg(describe(pos_)));
            }
            ++pos_;
            skipWhitespace();
            path_.emplace_back(key);
            dictionary->set(key, parseValue(depth));
            path_.pop_back();
            skipWhitespace();
            if (pos_ < size_ && data_[pos_] == ',') {
                ++pos_;
                continue;
            }
            if (pos_ < size_ && data_[pos_] == '}') {
                ++pos_;
                return Value::dictionary(dictionary);
            }
            fail(pos_, QStringLiteral("expected ',' or '}', found %1").arg(describe(pos_)));
        }
    }

    Value parseArray(int depth) {
        enter(depth, pos_);
        ++pos_;  // '['
        auto array = std::make_shared<Array>();
        skipWhitespace();
        if (pos_ < size_ && data_[pos_] == ']') {
            ++pos_;
            return Value::array(array);
        }
        for (;;) {
            skipWhitespace();
            path_.emplace_back(static_cast<qsizetype>(array->size()));
            array->push_back(parseValue(depth));
            path_.pop_back();
            skipWhitespace();
            if (pos_ < size_ && data_[pos_] == ',') {
                ++pos_;
                continue;
            }
            if (pos_ < size_ && data_[pos_] == ']') {
                ++pos_;
                return Value::array(array);
            }
            fail(pos_, QStringLiteral("expected ',' or ']', found %1").arg(describe(pos_)));
        }
    }

    static void appendUtf8(std::string& out, char32_t cp) {
        if (cp < 0x80) {
            out += static_cast<char>(cp);
        } else if (cp < 0x800) {
            out += static_cast<char>(0xC0 | (cp >> 6));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else if (cp < 0x10000) {
            out += static_cast<char>(0xE0 | (cp >> 12));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (cp >> 18));
            out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        }
    }

    // The value of the four hex digits at digits, if they are four hex digits.
    static std::optional<char32_t> hex4(const char* digits) {
        char32_t value = 0;
        for (int i = 0; i < 4; ++i) {
            const char c = digits[i];
            value <<= 4;
            if (c >= '0' && c <= '9') {
                value |= static_cast<char32_t>(c - '0');
            } else if (c >= 'a' && c <= 'f') {
                value |= static_cast<char32_t>(c - 'a' + 10);
            } else if (c >= 'A' && c <= 'F') {
                value |= static_cast<char32_t>(c - 'A' + 10);
            } else {
                return std::nullopt;
            }
        }
        return value;
    }

    // Four hex digits at pos_; advances past them.
    char32_t parseHex4(std::size_t escapeAt) {
        const std::optional<char32_t> value = size_ - pos_ < 4 ? std::nullopt : hex4(data_ + pos_);
        if (!value) {
            fail(escapeAt, QStringLiteral("\\u must be followed by four hex digits"));
        }
        pos_ += 4;
        return *value;
    }

    // The low surrogate that a \u escape at pos_ names, if one is there; reads nothing.
    std::optional<char32_t> lowSurrogateEscapeAtPos() const {
        if (size_ - pos_ < 6 || data_[pos_] != '\\' || data_[pos_ + 1] != 'u') {
            return std::nullopt;
        }
        const std::optional<char32_t> unit = hex4(data_ + pos_ + 2);
        if (!unit || *unit < 0xDC00 || *unit > 0xDFFF) {
            return std::nullopt;
        }
        return unit;
    }

    // Checks one UTF-8 encoded character at pos_ (first byte >= 0x80), copies it, advances.
    void copyUtf8Character(std::string& out) {
        const std::size_t at = pos_;
        const auto b0 = static_cast<unsigned char>(data_[pos_]);
        int extra = 0;
        char32_t cp = 0, minimum = 0;
        if (b0 >= 0xC2 && b0 <= 0xDF) {
            extra = 1, cp = b0 & 0x1F, minimum = 0x80;
        } else if (b0 >= 0xE0 && b0 <= 0xEF) {
            extra = 2, cp = b0 & 0x0F, minimum = 0x800;
        } else if (b0 >= 0xF0 && b0 <= 0xF4) {
            extra = 3, cp = b0 & 0x07, minimum = 0x10000;
        } else {
            fail(at, QStringLiteral("invalid UTF-8 byte 0x%1").arg(b0, 2, 16, QLatin1Char('0')));
        }
        for (int i = 1; i <= extra; ++i) {
            const std::size_t p = pos_ + static_cast<std::size_t>(i);
            if (p >= size_ || (static_cast<unsigned char>(data_[p]) & 0xC0) != 0x80) {
                fail(at, QStringLiteral("invalid UTF-8 sequence"));
            }
            cp = (cp << 6) | (static_cast<unsigned char>(data_[p]) & 0x3F);
        }
        if (cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
            fail(at, QStringLiteral("invalid UTF-8 sequence"));
        }
        out.append(data_ + pos_, static_cast<std::size_t>(extra) + 1);
        pos_ += static_cast<std::size_t>(extra) + 1;
    }

    QString parseString() {
        const std::size_t openAt = pos_;
        ++pos_;           // '"'
        QString text;     // what is read up to the last lone surrogate
        std::string out;  // UTF-8 read since then
        for (;;) {
            if (pos_ >= size_) {
                fail(openAt, QStringLiteral("the string starting here is not closed"));
            }
            const auto c = static_cast<unsigned char>(data_[pos_]);
            if (c == '"') {
                ++pos_;
                return text + QString::fromUtf8(out.data(), static_cast<qsizetype>(out.size()));
            }
            if (c < 0x20) {
                fail(pos_,
                     QStringLiteral("control character %1 must be escaped in a string").arg(describe(pos_)));
            }
            if (c >= 0x80) {
                copyUtf8Character(out);
                continue;
            }
            if (c != '\\') {
                out += static_cast<char>(c);
                ++pos_;
                continue;
            }
            const std::size_t escapeAt = pos_;
            ++pos_;
            if (pos_ >= size_) {
                fail(openAt, QStringLiteral("the string starting here is not closed"));
            }
            const char e = data_[pos_++];
            switch (e) {
                case '"':
                    out += '"';
                    break;
                case '\\':
                    out += '\\';
                    break;
                case '/':
                    out += '/';
                    break;
                case 'b':
                    out += '\b';
                    break;
                case 'f':
                    out += '\f';
                    break;
                case 'n':
                    out += '\n';
                    break;
                case 'r':
                    out += '\r';
                    break;
                case 't':
                    out += '\t';
                    break;
                case 'u': {
                    char32_t cp = parseHex4(escapeAt);
                    if (cp >= 0xD800 && cp <= 0xDBFF) {
                        if (const std::optional<char32_t> low = lowSurrogateEscapeAtPos()) {
                            pos_ += 6;
                            cp = 0x10000 + ((cp - 0xD800) << 10) + (*low - 0xDC00);
                        }
                    }
                    if (cp >= 0xD800 && cp <= 0xDFFF) {
                        // Half a pair has no UTF-8 form: it is kept as its UTF-16 unit.
                        text += QString::fromUtf8(out.data(), static_cast<qsizetype>(out.size()));
                        text += QChar(static_cast<char16_t>(cp));
                        out.clear();
                    } else {
                        appendUtf8(out, cp);
                    }
                    break;
                }
                default:
                    fail(escapeAt, QStringLiteral("unknown escape \\%1 in a string")
                                       .arg(static_cast<unsigned char>(e) >= 0x20 &&
                                                    static_cast<unsigned char>(e) < 0x7F
                                                ? QString(QChar(e))
                                                : describe(pos_ - 1)));
            }
        }
    }

    bool isDigit(std::size_t at) const { return at < size_ && data_[at] >= '0' && data_[at] <= '9'; }

    Value parseNumber() {
        const std::size_t start = pos_;
        bool negative = false;
        if (data_[pos_] == '-') {
            negative = true;
            ++pos_;
            if (startsWith("Infinity")) {
                pos_ += 8;
                return Value::number(-std::numeric_limits<double>::infinity());
            }
            if (!isDigit(pos_)) {
                fail(start, QStringLiteral("expected a digit after '-'"));
            }
        }
        // Integer part: 0, or a digit 1-9 and more digits.
        const std::size_t intStart = pos_;
        if (data_[pos_] == '0') {
            ++pos_;
            if (isDigit(pos_)) {
                fail(start, QStringLiteral("numbers must not have leading zeros"));
            }
        } else {
            while (isDigit(pos_)) {
                ++pos_;
            }
        }
        const std::size_t intEnd = pos_;
        bool integral = true;
        std::size_t fracStart = pos_, fracEnd = pos_;
        if (pos_ < size_ && data_[pos_] == '.') {
            integral = false;
            ++pos_;
            if (!isDigit(pos_)) {
                fail(pos_, QStringLiteral("expected a digit after the decimal point"));
            }
            fracStart = pos_;
            while (isDigit(pos_)) {
                ++pos_;
            }
            fracEnd = pos_;
        }
        long long exponent = 0;
        if (pos_ < size_ && (data_[pos_] == 'e' || data_[pos_] == 'E')) {
            integral = false;
            ++pos_;
            bool negativeExponent = false;
            if (pos_ < size_ && (data_[pos_] == '+' || data_[pos_] == '-')) {
                negativeExponent = data_[pos_] == '-';
                ++pos_;
            }
            if (!isDigit(pos_)) {
                fail(pos_, QStringLiteral("expected a digit in the exponent"));
            }
            while (isDigit(pos_)) {
                if (exponent < 100000) {  // far beyond any double; keeps the count from overflowing
                    exponent = exponent * 10 + (data_[pos_] - '0');
                }
                ++pos_;
            }
            if (negativeExponent) {
                exponent = -exponent;
            }
        }
        const char* first = data_ + start;
        const char* last = data_ + pos_;
        if (integral) {
            std::int64_t i = 0;
            if (const auto r = std::from_chars(first, last, i); r.ec == std::errc() && r.ptr == last) {
                return Value::integer(i);
            }
            if (!negative) {
                std::uint64_t u = 0;
                if (const auto r = std::from_chars(first, last, u); r.ec == std::errc() && r.ptr == last) {
                    return Value::unsignedInteger(u);
                }
            }
        }
        double d = 0.0;
        const auto r = std::from_chars(first, last, d, std::chars_format::general);
        if (r.ec == std::errc() && r.ptr == last) {
            return Value::number(d);
        }
        // Out of range: find the decimal exponent of the first significant digit to tell a number
        // too large for a double (an error) from one too small (it reads as zero).
        long long leading = 0;
        bool significant = false;
        for (std::size_t p = intStart; p < intEnd; ++p) {
            if (data_[p] != '0') {
                leading = static_cast<long long>(intEnd - p) - 1;
                significant = true;
                break;
            }
        }
        if (!significant) {
            for (std::size_t p = fracStart; p < fracEnd; ++p) {
                if (data_[p] != '0') {
                    leading = -static_cast<long long>(p - fracStart) - 1;
                    significant = true;
                    break;
                }
            }
        }
        if (significant && leading + exponent > 0) {
            fail(start, QStringLiteral("number %1 is too large for a double")
                            .arg(QString::fromUtf8(first, static_cast<qsizetype>(last - first))));
        }
        return Value::number(negative ? -0.0 : 0.0);
    }

    const char* data_;
    std::size_t size_;
    std::size_t pos_ = 0;
    JsonReadOptions options_;
    std::vector<Segment> path_;
};

}  // namespace

QString jsonPathWithKey(const QString& path, const QString& key) {
    const QString part = isIdentifier(key) ? key : quotedKey(key);
    return path.isEmpty() ? part : path + u'.' + part;
}

QString jsonPathWithIndex(const QString& path, qsizetype index) {
    return path + QStringLiteral("[%1]").arg(index);
}

Value parseJson(const QByteArray& text, const JsonReadOptions& options) {
    return Parser(text, options).parseDocument();
}

std::optional<Value> tryParseJson(const QByteArray& text, QString* error, const JsonReadOptions& options) {
    try {
        return parseJson(text, options);
    } catch (const JsonParseError& e) {
        if (error) {
            *error = e.message();
        }
        return std::nullopt;
    }
}

}  // namespace platform
