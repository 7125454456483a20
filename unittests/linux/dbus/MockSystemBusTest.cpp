// The private bus itself: its mocks answer on it, and nothing of it outlives the test.
#include "unittests/linux/mock/MockSystemBus.h"

#include "unittests/linux/dbus/MockBusTest.h"

#include <QDBusConnection>

#include <gmock/gmock.h>

#include <gtest/gtest.h>

#include <signal.h>

#include <cerrno>
#include <memory>

using testsupport::MockSystemBus;

TEST(MockSystemBus, EndsItsBusAndMocksWhenDestroyed) {
    if (const auto missing = MockSystemBus::missingTools()) {
        GTEST_SKIP() << "needs a private D-Bus with python-dbusmock: " << missing->toStdString();
    }
    MockSystemBus::Options options;
    options.bluez = true;
    auto bus = std::make_unique<MockSystemBus>(options);
    const QString address = bus->address();
    const std::vector<pid_t> processes = bus->processIds();
    ASSERT_EQ(processes.size(), 3u);
    for (const pid_t pid : processes) {
        EXPECT_EQ(::kill(pid, 0), 0) << "process " << pid << " runs";
    }
    EXPECT_TRUE(bus->connection().isConnected());

    bus.reset();
    for (const pid_t pid : processes) {
        errno = 0;
        EXPECT_EQ(::kill(pid, 0), -1) << "process " << pid << " still runs";
        EXPECT_EQ(errno, ESRCH);
    }
    const QDBusConnection late = QDBusConnection::connectToBus(address, QStringLiteral("late-connection"));
    EXPECT_FALSE(late.isConnected());
    QDBusConnection::disconnectFromBus(QStringLiteral("late-connection"));
}

TEST(MockSystemBus, AMockThatCannotStartIsReportedWithWhatItSaid) {
    if (const auto missing = MockSystemBus::missingTools()) {
        GTEST_SKIP() << "needs a private D-Bus with python-dbusmock: " << missing->toStdString();
    }
    MockSystemBus::Options options;
    options.networkManagerParameters = QStringLiteral("{not json");
    try {
        MockSystemBus bus(options);
        FAIL() << "the bus started with a mock that cannot";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(),
                    ::testing::HasSubstr("org.freedesktop.NetworkManager mock ended before it was ready"));
        EXPECT_THAT(error.what(), ::testing::HasSubstr("JSON"));
    }
}
