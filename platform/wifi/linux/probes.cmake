# The live network probes of the Linux backend: ICMP echo series and the second hop, name
# resolution, HTTP, the kernel's default route, nl80211 over generic netlink (and its recordings),
# and the cancellation they share.
find_package(Qt6 REQUIRED COMPONENTS Network)
add_library(wifiprofile_linux_probes STATIC
    ${CMAKE_CURRENT_LIST_DIR}/CancelToken.cpp
    ${CMAKE_CURRENT_LIST_DIR}/DnsProbe.cpp
    ${CMAKE_CURRENT_LIST_DIR}/HttpProbe.cpp
    ${CMAKE_CURRENT_LIST_DIR}/IcmpEcho.cpp
    ${CMAKE_CURRENT_LIST_DIR}/Nl80211Sources.cpp
    ${CMAKE_CURRENT_LIST_DIR}/RouteTable.cpp
    ${CMAKE_CURRENT_LIST_DIR}/SecondHop.cpp
)
target_link_libraries(wifiprofile_linux_probes PUBLIC wifiprofile_wifi wifiprofile_linux_analysis Qt6::Core Qt6::Network)
