// The wifi-profile application against the real NetworkManager, which here has no Wi-Fi device:
// --backend linux says so and ends with code 5, --backend auto says why it profiles the simulated
// device instead and finishes.
#include "unittests/host/HostProcess.h"
#include "unittests/linux/realnm/RealNetworkManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using hosttest::field;
using hosttest::HostRun;
using hosttest::str;
using ::testing::HasSubstr;

namespace {

class RealNmHost : public hosttest::HostRunTest {
  protected:
    void SetUp() override {
        if (const auto why = realnm::unavailable()) {
            GTEST_SKIP() << *why;
        }
        HostRunTest::SetUp();
    }
};

TEST_F(RealNmHost, LinuxBackendSaysThereIsNoWiFiDeviceAndEndsWithCode5) {
    const HostRun r = run({QStringLiteral("--backend"), QStringLiteral("linux")});
    EXPECT_EQ(r.exitCode, 5) << str(r.err);
    EXPECT_EQ(r.err,
              QStringLiteral("wifi-profile: NetworkManager lists no Wi-Fi device; start NetworkManager on "
                             "a machine with Wi-Fi, or profile the simulated device with --backend sim\n"));
    EXPECT_TRUE(r.out.isEmpty()) << r.out.toStdString();
}

TEST_F(RealNmHost, AutoFallsBackToTheSimulatedDeviceAndSaysWhy) {
    const HostRun r = run({QStringLiteral("--backend"), QStringLiteral("auto")});
    EXPECT_EQ(r.exitCode, 0) << str(r.err);
    EXPECT_THAT(
        str(r.err),
        HasSubstr("wifi-profile: NetworkManager lists no Wi-Fi device; profiling the simulated device\n"));
    QString why;
    const auto result = platform::tryParseJson(r.out, &why);
    ASSERT_TRUE(result && result->kind() == platform::Value::Kind::Dictionary)
        << str(why) << ": " << r.out.toStdString();
    EXPECT_EQ(field(result->toDictionary(), "statusCode").toInt(), 0) << r.out.toStdString();
}

}  // namespace
