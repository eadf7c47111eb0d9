# The library's version, what `cmake --install` puts where (library, headers,
# CMake package, pkg-config file), the Windows SDK archive that `cpack` makes,
# and the tests of all of these.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# qz/version.h from the project's one version number, for the library, its
# tests and every host.
set(QZ_GENERATED_INCLUDE ${PROJECT_BINARY_DIR}/include)
configure_file(${PROJECT_SOURCE_DIR}/include/qz/version.h.in ${QZ_GENERATED_INCLUDE}/qz/version.h
  @ONLY)
target_include_directories(qz_core PUBLIC ${QZ_GENERATED_INCLUDE})
target_include_directories(qz
  PRIVATE ${QZ_GENERATED_INCLUDE}
  INTERFACE $<BUILD_INTERFACE:${QZ_GENERATED_INCLUDE}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
# The public C++ headers need C++11 (char16_t, <cstdint>); qz_flat.h is C99.
target_compile_features(qz INTERFACE cxx_std_11)

set_target_properties(qz PROPERTIES VERSION ${PROJECT_VERSION})
if(WIN32)
  # The version resource Explorer and installers read.
  enable_language(RC)
  target_sources(qz PRIVATE ${PROJECT_SOURCE_DIR}/src/platform/Win32Version.rc)

  # MSVC and other non-GNU toolchains link the flat functions through an import
  # library in their own format, made from a module-definition file.
  set(QZ_DEF ${PROJECT_BINARY_DIR}/qzwin32.def)
  list(JOIN QZ_FLAT_EXPORTS "\n  " QZ_DEF_LINES)
  file(CONFIGURE OUTPUT ${QZ_DEF}
    CONTENT "LIBRARY qzwin32.dll\nEXPORTS\n  ${QZ_DEF_LINES}\n")
  find_program(QZ_DLLTOOL NAMES llvm-dlltool llvm-dlltool-14 ${CMAKE_DLLTOOL})
  if(NOT QZ_DLLTOOL)
    message(FATAL_ERROR "No dlltool for qzwin32.lib (Debian: llvm)")
  endif()
  if(CMAKE_ARCHIVE_OUTPUT_DIRECTORY)
    set(QZ_MSVC_IMPORT_LIB ${CMAKE_ARCHIVE_OUTPUT_DIRECTORY}/qzwin32.lib)
  else()
    set(QZ_MSVC_IMPORT_LIB ${PROJECT_BINARY_DIR}/qzwin32.lib)
  endif()
  add_custom_command(OUTPUT ${QZ_MSVC_IMPORT_LIB}
    COMMAND ${QZ_DLLTOOL} -m i386:x86-64 -d ${QZ_DEF} -l ${QZ_MSVC_IMPORT_LIB}
    DEPENDS ${QZ_DEF} VERBATIM)
  add_custom_target(qz_msvc_import_lib ALL DEPENDS ${QZ_MSVC_IMPORT_LIB})
else()
  set_target_properties(qz PROPERTIES SOVERSION ${PROJECT_VERSION_MAJOR})
endif()

# Installation, in three parts: the run-time library; what a developer builds
# against; on Windows the SDK extras (examples and a README). Nothing else of
# the build (tests, benchmarks, the static core) is installed.
set(QZ_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/qz)
install(TARGETS qz EXPORT qzTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
    NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/qz ${QZ_GENERATED_INCLUDE}/qz
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
  FILES_MATCHING PATTERN "*.h")
install(EXPORT qzTargets NAMESPACE qz:: DESTINATION ${QZ_CMAKE_DIR} COMPONENT development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/packaging/qzConfig.cmake.in
  ${PROJECT_BINARY_DIR}/qzConfig.cmake INSTALL_DESTINATION ${QZ_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qzConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qzConfig.cmake ${PROJECT_BINARY_DIR}/qzConfigVersion.cmake
  DESTINATION ${QZ_CMAKE_DIR} COMPONENT development)

# qz.pc names the prefix it is installed under, which only the install step
# knows (cpack installs under /usr, a user anywhere): the file is completed
# then. The Windows SDK archive is unpacked anywhere: there the file finds the
# prefix from its own place.
if(WIN32)
  set(QZ_PC_LIBRARY qzwin32)
  file(RELATIVE_PATH QZ_PC_UP /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
  string(REGEX REPLACE "/$" "" QZ_PC_UP "${QZ_PC_UP}")
  set(QZ_PC_PREFIX "\${pcfiledir}/${QZ_PC_UP}")
else()
  set(QZ_PC_LIBRARY qz)
  set(QZ_PC_PREFIX "@CMAKE_INSTALL_PREFIX@")
endif()
foreach(dir LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
    set(QZ_PC_${dir} "${CMAKE_INSTALL_${dir}}")
  else()
    set(QZ_PC_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
  endif()
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/cmake/packaging/qz.pc.in ${PROJECT_BINARY_DIR}/qz.pc.in @ONLY)
install(CODE "configure_file(\"${PROJECT_BINARY_DIR}/qz.pc.in\" \"${PROJECT_BINARY_DIR}/qz.pc\" @ONLY)"
  COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/qz.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)

set(CPACK_COMPONENTS_ALL runtime development)
if(QZ_BUILD_STATIC)
  install(TARGETS qz_static EXPORT qzTargets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
  target_include_directories(qz_static PUBLIC $<BUILD_INTERFACE:${QZ_GENERATED_INCLUDE}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
endif()
if(WIN32)
  install(FILES ${QZ_MSVC_IMPORT_LIB} DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/packaging/README-sdk.txt DESTINATION .
    RENAME README.txt COMPONENT sdk)
  # The debugging information of the DLL, for developers; not to be shipped.
  install(FILES $<TARGET_FILE_DIR:qz>/qzwin32.debug DESTINATION ${CMAKE_INSTALL_BINDIR}
    COMPONENT development)
  # The example hosts with what they use: the Python package beside the
  # Python host, the Qz assembly's source and Mono's map beside the C# host.
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/c ${PROJECT_SOURCE_DIR}/examples/python
    ${PROJECT_SOURCE_DIR}/examples/csharp DESTINATION examples COMPONENT sdk
    PATTERN __pycache__ EXCLUDE)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/python/src/qz DESTINATION examples/python COMPONENT sdk
    PATTERN __pycache__ EXCLUDE)
  install(FILES ${PROJECT_SOURCE_DIR}/dotnet/Qz.cs ${PROJECT_SOURCE_DIR}/dotnet/Qz.dll.config
    DESTINATION examples/csharp COMPONENT sdk)
  install(FILES ${PROJECT_SOURCE_DIR}/demo/host_example.cpp DESTINATION examples/cpp
    COMPONENT sdk)
  list(APPEND CPACK_COMPONENTS_ALL sdk)
endif()

# The Windows SDK archive: `cpack` in the build folder writes it to its
# packages/ folder, in a build of qz alone. Debian packages are made the
# Debian way, from debian/ (dpkg-buildpackage).
if(WIN32 AND PROJECT_IS_TOP_LEVEL)
  # One archive, bin/ lib/ include/ examples/ README.txt under qz-<version>-win64/.
  set(CPACK_PACKAGE_NAME qz)
  set(CPACK_PACKAGE_VENDOR "Tessary Solutions")
  set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_SYSTEM_NAME win64)
  set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
  set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
  set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
  include(CPack)
endif()

if(QZ_BUILD_TESTS)
  include(${PROJECT_SOURCE_DIR}/cmake/packaging/QzPackagingTests.cmake)
endif()
