# Installation: the library, its headers, a relocatable pkg-config file, the CMake package
# (reminder-api::reminder-api), the system-bus policy. Included from the top-level CMakeLists.
include(CMakePackageConfigHelpers)

set(REMINDER_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/reminder-api)

install(TARGETS reminder-api EXPORT reminder-api-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES
  include/RemindInfo.h include/ReminderTypes.h include/ReminderAPI.h include/ReminderAPIUtil.h
  include/ReminderAPIImp.h include/DataControl.h include/reminder_api.h include/remind_info.h
  include/ReminderExport.h ${PROJECT_BINARY_DIR}/include/ReminderVersion.h
  DESTINATION ${REMINDER_INSTALL_INCLUDEDIR})
if(REMINDER_INSTALL_STATIC)
  install(TARGETS reminder-api-static ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()

if(REMINDER_HOST_BUILD)
  # The simulated platform: its runtime library (consumers never link it by name; the package
  # names it only so that CMake finds it when linking) and the headers the public headers
  # include, under the package's own include directory.
  install(TARGETS tvsim EXPORT reminder-api-targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_SKIP)
  install(DIRECTORY platform/include/ DESTINATION ${REMINDER_INSTALL_PLATFORM_INCLUDEDIR})
endif()

# pkg-config: every path relative to the .pc file's own directory, so the installed tree can be
# moved or installed into any prefix (cmake --install --prefix P).
set(REMINDER_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(REMINDER_PC_PREFIX_FROM_PCDIR "")
  message(WARNING "An absolute CMAKE_INSTALL_LIBDIR makes reminder-api.pc non-relocatable")
else()
  file(RELATIVE_PATH REMINDER_PC_PREFIX_FROM_PCDIR /root/${REMINDER_PC_DIR} /root)
  string(REGEX REPLACE "/$" "" REMINDER_PC_PREFIX_FROM_PCDIR "${REMINDER_PC_PREFIX_FROM_PCDIR}")
endif()
set(REMINDER_PC_PLATFORM_CFLAGS "")
if(REMINDER_HOST_BUILD)
  set(REMINDER_PC_PLATFORM_CFLAGS " -I\${includedir}/platform")
endif()
# A static link needs what the library itself links; the shared library carries that itself,
# and the dependencies' compiler flags are never needed by the public headers, so these lines
# appear only when the archive is installed.
set(REMINDER_PC_REQUIRES_PRIVATE "")
set(REMINDER_PC_LIBS_PRIVATE "")
if(REMINDER_INSTALL_STATIC)
  set(REMINDER_PC_REQUIRES_PRIVATE "Requires.private: sqlite3 jsoncpp gio-2.0\n")
  set(REMINDER_PC_LIBS_PRIVATE "Libs.private:")
  if(REMINDER_HOST_BUILD)
    # libtvsim is installed without the development link: name its runtime file.
    string(APPEND REMINDER_PC_LIBS_PRIVATE " -l:libtvsim.so.${PROJECT_VERSION_MAJOR}")
  endif()
  string(APPEND REMINDER_PC_LIBS_PRIVATE " -pthread\n")
endif()
configure_file(reminder-api.pc.in ${PROJECT_BINARY_DIR}/reminder-api.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/reminder-api.pc DESTINATION ${REMINDER_PC_DIR})

# CMake package: find_package(reminder-api) gives the imported target reminder-api::reminder-api.
install(EXPORT reminder-api-targets
  NAMESPACE reminder-api::
  FILE reminder-apiTargets.cmake
  DESTINATION ${REMINDER_CMAKE_DIR})
configure_package_config_file(cmake/reminder-apiConfig.cmake.in
  ${PROJECT_BINARY_DIR}/reminder-apiConfig.cmake
  INSTALL_DESTINATION ${REMINDER_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/reminder-apiConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/reminder-apiConfig.cmake
  ${PROJECT_BINARY_DIR}/reminder-apiConfigVersion.cmake
  DESTINATION ${REMINDER_CMAKE_DIR})

install(FILES dbus/reminder-api.conf DESTINATION ${CMAKE_INSTALL_DATADIR}/dbus-1/system.d)
