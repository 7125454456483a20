#pragma once
// Reads structured choices out of a fuzzer's bytes: small numbers, flags, picks from a list, and
// integers, doubles and texts biased toward the values that break code (limits, NaN, infinities,
// empty, long and malformed texts). Once the bytes run out every read answers zero or empty, so a
// decoder built on it always comes to an end.

#include <QString>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace fuzzsupport {

class FuzzBytes {
  public:
    FuzzBytes(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    std::size_t remaining() const { return size_ - position_; }

    std::uint8_t byte() { return position_ < size_ ? data_[position_++] : 0; }

    bool flag() { return (byte() & 1) != 0; }

    // A number from 0 to count - 1 (count at least 1); one byte for up to 256 choices, else two.
    std::size_t below(std::size_t count) {
        if (count <= 1) {
            return 0;
        }
        std::size_t raw = byte();
        if (count > 256) {
            raw = raw << 8 | byte();
        }
        return raw % count;
    }

    // Up to eight bytes, little-endian.
    std::uint64_t bits64() {
        std::uint64_t out = 0;
        for (int i = 0; i < 8; ++i) {
            out |= static_cast<std::uint64_t>(byte()) << (8 * i);
        }
        return out;
    }

    std::int64_t integer() {
        static constexpr std::int64_t kEdges[] = {0,
                                                  1,
                                                  -1,
                                                  2,
                                                  5,
                                                  -60,
                                                  600,
                                                  601,
                                                  std::numeric_limits<std::int32_t>::max(),
                                                  std::int64_t{std::numeric_limits<std::int32_t>::max()} + 1,
                                                  std::numeric_limits<std::int32_t>::min(),
                                                  std::numeric_limits<std::int64_t>::max(),
                                                  std::numeric_limits<std::int64_t>::min(),
                                                  std::numeric_limits<std::int64_t>::min() + 1};
        constexpr std::size_t kCount = sizeof kEdges / sizeof kEdges[0];
        const std::size_t choice = below(kCount + 2);
        if (choice < kCount) {
            return kEdges[choice];
        }
        return choice == kCount ? static_cast<std::int8_t>(byte()) : static_cast<std::int64_t>(bits64());
    }

    std::uint64_t unsignedInteger() {
        static constexpr std::uint64_t kEdges[] = {
            0,
            1,
            600,
            601,
            std::uint64_t{std::numeric_limits<std::int64_t>::max()},
            std::uint64_t{std::numeric_limits<std::int64_t>::max()} + 1,
            std::numeric_limits<std::uint64_t>::max()};
        constexpr std::size_t kCount = sizeof kEdges / sizeof kEdges[0];
        const std::size_t choice = below(kCount + 2);
        if (choice < kCount) {
            return kEdges[choice];
        }
        return choice == kCount ? byte() : bits64();
    }

    double number() {
        static constexpr double kEdges[] = {0.0,
                                            -0.0,
                                            0.5,
                                            -1.25,
                                            600.0,
                                            600.0000001,
                                            816861600.0,
                                            1e300,
                                            -1e300,
                                            9223372036854775807.0,
                                            -9223372036854775808.0,
                                            18446744073709551616.0,
                                            std::numeric_limits<double>::max(),
                                            std::numeric_limits<double>::lowest(),
                                            std::numeric_limits<double>::min(),
                                            std::numeric_limits<double>::denorm_min(),
                                            std::numeric_limits<double>::epsilon(),
                                            std::numeric_limits<double>::quiet_NaN(),
                                            -std::numeric_limits<double>::quiet_NaN(),
                                            std::numeric_limits<double>::infinity(),
                                            -std::numeric_limits<double>::infinity()};
        constexpr std::size_t kCount = sizeof kEdges / sizeof kEdges[0];
        const std::size_t choice = below(kCount + 2);
        if (choice < kCount) {
            return kEdges[choice];
        }
        if (choice == kCount) {
            return static_cast<std::int8_t>(byte()) / 4.0;
        }
        const std::uint64_t raw = bits64();
        double d;
        std::memcpy(&d, &raw, sizeof d);
        return d;
    }

    // A text of at most maxLength units: bytes as Latin-1, as UTF-8 (malformed sequences
    // included), as UTF-16 code units (lone surrogates included), or pieces that formatting code
    // trips over (placeholders, NUL, a lone surrogate, a character outside the basic plane).
    QString text(std::size_t maxLength) {
        const std::size_t length = below(maxLength + 1);
        switch (below(4)) {
            case 0: {
                QString out;
                for (std::size_t i = 0; i < length && remaining() > 0; ++i) {
                    out.append(QChar(byte()));
                }
                return out;
            }
            case 1: {
                QByteArray utf8;
                for (std::size_t i = 0; i < length && remaining() > 0; ++i) {
                    utf8.append(static_cast<char>(byte()));
                }
                return QString::fromUtf8(utf8);
            }
            case 2: {
                static const QString kPieces[] = {QStringLiteral("%1"),
                                                  QStringLiteral("%2"),
                                                  QStringLiteral("%3"),
                                                  QStringLiteral("%@"),
                                                  QStringLiteral("%"),
                                                  QString(QChar(u'\0')),
                                                  QString(QChar(char16_t(0xd800))),
                                                  QStringLiteral("\U0001F600"),
                                                  QStringLiteral("a"),
                                                  QStringLiteral("\\\"")};
                QString out;
                while (static_cast<std::size_t>(out.size()) < length && remaining() > 0) {
                    out += pick(kPieces);
                }
                return out.left(static_cast<qsizetype>(maxLength));
            }
            default: {
                QString out;
                for (std::size_t i = 0; i < length && remaining() > 0; ++i) {
                    const std::uint16_t high = byte();
                    out.append(QChar(static_cast<char16_t>(high << 8 | byte())));
                }
                return out;
            }
        }
    }

    // One of the given choices.
    template <class T, std::size_t N>
    const T& pick(const T (&choices)[N]) {
        return choices[below(N)];
    }

  private:
    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t position_ = 0;
};

}  // namespace fuzzsupport
