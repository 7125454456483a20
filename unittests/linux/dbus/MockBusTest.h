#pragma once
// A test with a private system bus of its own (see MockSystemBus), skipped with the reason where
// dbus-daemon or python-dbusmock are missing; and small helpers to look at read errors.

#include "platform/wifi/linux/DBusReading.h"
#include "unittests/linux/mock/MockSystemBus.h"

#include <QByteArray>
#include <QString>

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <ostream>
#include <string>

// Failures show Qt strings and bytes as text.
inline void PrintTo(const QString& text, std::ostream* os) {
    *os << '"' << text.toStdString() << '"';
}
inline void PrintTo(const QByteArray& bytes, std::ostream* os) {
    *os << "bytes " << bytes.toHex(' ').toStdString();
}

namespace testsupport {

class MockBusTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (const auto missing = MockSystemBus::missingTools()) {
            GTEST_SKIP() << "needs a private D-Bus with python-dbusmock: " << missing->toStdString();
        }
        bus_ = std::make_unique<MockSystemBus>(busOptions());
    }
    void TearDown() override { bus_.reset(); }

    // What the test's bus runs; a fixture of its own overrides it.
    virtual MockSystemBus::Options busOptions() const { return MockSystemBus::Options{}; }

    MockSystemBus& bus() { return *bus_; }

  private:
    std::unique_ptr<MockSystemBus> bus_;
};

// The DBusReadError that read() throws, or nothing when it throws none.
template <class Read>
std::optional<platform::linuxwifi::DBusReadError> readError(Read&& read) {
    try {
        read();
    } catch (const platform::linuxwifi::DBusReadError& error) {
        return error;
    }
    return std::nullopt;
}

inline std::string str(const QString& text) {
    return text.toStdString();
}

}  // namespace testsupport
