# Build, test and install helpers shared by every folder of the project.
include(GenerateExportHeader)
include(CMakePackageConfigHelpers)

set(BEAMORA_WARNINGS -Wall -Wextra)
if(BEAMORA_WERROR)
    list(APPEND BEAMORA_WARNINGS -Werror)
endif()

if(BEAMORA_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined -fno-sanitize-recover=all)
endif()

# Common compile settings for every target of the project.
function(beamora_set_target_options target)
    target_compile_options(${target} PRIVATE ${BEAMORA_WARNINGS})
    target_compile_definitions(${target} PRIVATE QT_USE_QSTRINGBUILDER)
endfunction()

# beamora_add_library(<name> SOURCES ... [PUBLIC_LIBS ...] [PRIVATE_LIBS ...])
# A versioned shared library with hidden symbols, an export header named
# <name>Export.h, the alias Beamora::<name>, and its headers installed under
# include/Beamora/<name>. Headers ending in _p.h stay private.
function(beamora_add_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC_LIBS;PRIVATE_LIBS" ${ARGN})
    add_library(${name} SHARED ${ARG_SOURCES})
    add_library(Beamora::${name} ALIAS ${name})
    set_target_properties(${name} PROPERTIES
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR}
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON
        EXPORT_NAME ${name}
        INSTALL_RPATH "$ORIGIN")
    string(TOUPPER ${name} upper)
    generate_export_header(${name} BASE_NAME ${upper} EXPORT_FILE_NAME ${name}Export.h)
    target_include_directories(${name} PUBLIC
        $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}>
        $<BUILD_INTERFACE:${CMAKE_CURRENT_BINARY_DIR}>
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/Beamora/${name}>)
    target_link_libraries(${name} PUBLIC ${ARG_PUBLIC_LIBS} PRIVATE ${ARG_PRIVATE_LIBS})
    beamora_set_target_options(${name})

    file(GLOB headers CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
    list(FILTER headers EXCLUDE REGEX "_p\\.h$")
    install(TARGETS ${name} EXPORT BeamoraTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/Beamora/${name})
    install(FILES ${headers} ${CMAKE_CURRENT_BINARY_DIR}/${name}Export.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/Beamora/${name})
endfunction()

# Root of the tests' private TMPDIRs. A local socket's address holds at most
# 107 bytes, so the root stays short whatever the depth of the build tree; the
# hash keeps two build trees apart.
string(SHA1 _beamora_build_hash "${PROJECT_BINARY_DIR}")
string(SUBSTRING "${_beamora_build_hash}" 0 10 _beamora_build_hash)
set(BEAMORA_TEST_TMPDIR_ROOT "/tmp/beamora-tests-${_beamora_build_hash}" CACHE PATH
    "Short directory under which each test gets its own TMPDIR")

# Message buses that do not exist, set for every test: a test never meets the
# real system or session bus unless it starts private ones.
set(BEAMORA_TEST_NO_BUSES "DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent/system_bus_socket;DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent/session_bus_socket")

# beamora_add_test(<name> SOURCES ... [LIBS ...] [ENVIRONMENT ...] [TIMEOUT s])
# A Qt Test program registered with CTest. Each test runs headless with a
# TMPDIR of its own, so local sockets and files never meet another test's or
# a real launcher's. The directory is made when the test starts, so a /tmp
# emptied since the build does not matter. Tests share the helpers in
# tests/support.
function(beamora_add_test name)
    cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LIBS;ENVIRONMENT" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE Qt6::Test ${ARG_LIBS})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/support)
    beamora_set_target_options(${name})
    set(tmp ${BEAMORA_TEST_TMPDIR_ROOT}/${name})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 300)
    endif()
    add_test(NAME ${name}
        COMMAND sh -c "mkdir -p \"$TMPDIR\" && exec \"$0\" \"$@\"" $<TARGET_FILE:${name}>)
    set_tests_properties(${name} PROPERTIES
        TIMEOUT ${ARG_TIMEOUT}
        ENVIRONMENT "QT_QPA_PLATFORM=offscreen;TMPDIR=${tmp};${BEAMORA_TEST_NO_BUSES};${ARG_ENVIRONMENT}")
endfunction()

# Installs the CMake package that lets other projects find_package(Beamora).
function(beamora_install_package)
    set(cmakedir ${CMAKE_INSTALL_LIBDIR}/cmake/Beamora)
    install(EXPORT BeamoraTargets NAMESPACE Beamora:: DESTINATION ${cmakedir})
    configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/BeamoraConfig.cmake.in
        ${PROJECT_BINARY_DIR}/BeamoraConfig.cmake INSTALL_DESTINATION ${cmakedir})
    write_basic_package_version_file(${PROJECT_BINARY_DIR}/BeamoraConfigVersion.cmake
        COMPATIBILITY SameMinorVersion)
    install(FILES ${PROJECT_BINARY_DIR}/BeamoraConfig.cmake
        ${PROJECT_BINARY_DIR}/BeamoraConfigVersion.cmake DESTINATION ${cmakedir})
endfunction()
