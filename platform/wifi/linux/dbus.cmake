# The Linux backend's readers of NetworkManager and BlueZ over D-Bus (QtDBus).
find_package(Qt6 REQUIRED COMPONENTS DBus)

add_library(wifiprofile_linux_dbus STATIC
    ${CMAKE_CURRENT_LIST_DIR}/DBusReading.cpp
    ${CMAKE_CURRENT_LIST_DIR}/DBusValue.cpp
    ${CMAKE_CURRENT_LIST_DIR}/DBusCaller.cpp
    ${CMAKE_CURRENT_LIST_DIR}/NetworkManagerClient.cpp
    ${CMAKE_CURRENT_LIST_DIR}/BluezClient.cpp
)
target_link_libraries(wifiprofile_linux_dbus PUBLIC wifiprofile_wifi Qt6::Core Qt6::DBus)
