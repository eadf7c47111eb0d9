# The library's version: one number, in the project, that qz/version.h, the
# SONAME and the Windows version resource carry.

# qz/version.h from the project's one version number, for the library, its
# tests and every host.
set(QZ_GENERATED_INCLUDE ${CMAKE_BINARY_DIR}/include)
configure_file(${CMAKE_SOURCE_DIR}/include/qz/version.h.in ${QZ_GENERATED_INCLUDE}/qz/version.h
  @ONLY)
target_include_directories(qz_core PUBLIC ${QZ_GENERATED_INCLUDE})
target_include_directories(qz
  PRIVATE ${QZ_GENERATED_INCLUDE}
  INTERFACE $<BUILD_INTERFACE:${QZ_GENERATED_INCLUDE}>)
# The public C++ headers need C++11 (char16_t, <cstdint>); qz_flat.h is C99.
target_compile_features(qz INTERFACE cxx_std_11)

set_target_properties(qz PROPERTIES VERSION ${PROJECT_VERSION})
if(WIN32)
  # The version resource Explorer and installers read.
  enable_language(RC)
  target_sources(qz PRIVATE ${CMAKE_SOURCE_DIR}/src/platform/Win32Version.rc)
else()
  set_target_properties(qz PROPERTIES SOVERSION ${PROJECT_VERSION_MAJOR})
endif()
