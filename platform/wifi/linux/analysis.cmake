# Pure analysis functions of the Linux Wi-Fi backend: plain inputs (bytes, numbers, texts) in,
# answers out; no D-Bus, sockets or files, so they are tested on inputs the tests build.
find_package(Qt6 REQUIRED COMPONENTS Network)

add_library(wifiprofile_linux_analysis STATIC
    ${CMAKE_CURRENT_LIST_DIR}/SsidText.cpp
    ${CMAKE_CURRENT_LIST_DIR}/Security.cpp
    ${CMAKE_CURRENT_LIST_DIR}/Channels.cpp
    ${CMAKE_CURRENT_LIST_DIR}/SignalLevels.cpp
    ${CMAKE_CURRENT_LIST_DIR}/NetworkNames.cpp
    ${CMAKE_CURRENT_LIST_DIR}/Addresses.cpp
    ${CMAKE_CURRENT_LIST_DIR}/PingStatistics.cpp
    ${CMAKE_CURRENT_LIST_DIR}/AccessPointTraits.cpp
    ${CMAKE_CURRENT_LIST_DIR}/InformationElements.cpp
    ${CMAKE_CURRENT_LIST_DIR}/Netlink.cpp
    ${CMAKE_CURRENT_LIST_DIR}/NetlinkBuilder.cpp
    ${CMAKE_CURRENT_LIST_DIR}/Nl80211Records.cpp
    ${CMAKE_CURRENT_LIST_DIR}/Nl80211Radio.cpp
)
target_link_libraries(wifiprofile_linux_analysis PUBLIC wifiprofile_wifi Qt6::Core Qt6::Network)
