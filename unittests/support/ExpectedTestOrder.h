#pragma once
// The order in which a whole run asks the service for its tests, group by group, as the tests of
// the test run expect it.

#include <cstdint>
#include <initializer_list>
#include <vector>

namespace testsupport {

inline const std::vector<std::int64_t> kDeviceTestIDs = {14, 15, 16, 17, 22, 19, 18, 20, 47, 48, 29};
inline const std::vector<std::int64_t> kCurrentNetworkTestIDs = {8,  34, 35, 38, 39, 40, 41, 42, 43, 44,
                                                                 46, 45, 36, 37, 33, 3,  6,  12, 13, 7,
                                                                 9,  11, 24, 25, 26, 27, 28, 32, 30};
inline const std::vector<std::int64_t> kSelectedNetworkTestIDs = {34, 38, 39, 40, 41, 42, 43, 44,
                                                                  46, 45, 36, 37, 33, 24, 28, 32};

// The groups' IDs one after another.
inline std::vector<std::int64_t> testIDsOf(std::initializer_list<std::vector<std::int64_t>> groups) {
    std::vector<std::int64_t> out;
    for (const auto& group : groups) {
        out.insert(out.end(), group.begin(), group.end());
    }
    return out;
}

}  // namespace testsupport
