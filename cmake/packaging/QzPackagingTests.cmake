# Tests of the installed and packaged library (scripts in tests/packaging/).
# They build programs outside this project, which cannot load a library built
# with sanitizers; the test command runs them in its release and win stages.
if(QZ_SANITIZER)
  return()
endif()

set(QZ_PACKAGING_TESTS ${PROJECT_SOURCE_DIR}/tests/packaging)
set(QZ_PACKAGING_ENV
  QZ_SOURCE_DIR=${PROJECT_SOURCE_DIR} QZ_BUILD_DIR=${PROJECT_BINARY_DIR} QZ_VERSION=${PROJECT_VERSION}
  QZ_OS=${QZ_OS} QZ_CC=${CMAKE_C_COMPILER} QZ_FLAT_LIST=${QZ_FLAT_EXPORTS_FILE}
  QZ_STATIC=${QZ_BUILD_STATIC} QZ_COLLECTOR=${QZ_BUILD_COLLECTOR})
if(WIN32)
  list(APPEND QZ_PACKAGING_ENV QZ_EMULATOR=${CMAKE_CROSSCOMPILING_EMULATOR}
    QZ_TOOLCHAIN=${CMAKE_TOOLCHAIN_FILE} QZ_MEMBERS_HOST=$<TARGET_FILE:qz_members_host>)
  set(QZ_PACKAGING_SCRIPTS install sdk)
  add_test(NAME dll_version COMMAND bash ${QZ_PACKAGING_TESTS}/check_dll_version.sh
    $<TARGET_FILE:qz> ${CMAKE_RC_COMPILER} ${PROJECT_VERSION})
  set_tests_properties(dll_version PROPERTIES TIMEOUT 60)
else()
  set(QZ_PACKAGING_SCRIPTS install deb subproject)
endif()
if(TARGET qz_python_wheel)
  list(APPEND QZ_PACKAGING_SCRIPTS python)
  list(APPEND QZ_PACKAGING_ENV QZ_WHEEL_PYTHON=${QZ_WHEEL_PYTHON} QZ_WHEEL=${QZ_WHEEL})
endif()
if(TARGET qz_nuget AND QZ_MONO)
  list(APPEND QZ_PACKAGING_SCRIPTS nuget)
  list(APPEND QZ_PACKAGING_ENV QZ_NUPKG=${QZ_NUPKG} QZ_NUGET_WINDOWS_DLL=${QZ_NUGET_WINDOWS_DLL}
    QZ_MONO=${QZ_MONO} QZ_MCS=${QZ_MCS})
endif()
foreach(name ${QZ_PACKAGING_SCRIPTS})
  add_test(NAME package_${name} COMMAND bash ${QZ_PACKAGING_TESTS}/check_${name}.sh)
  set_tests_properties(package_${name} PROPERTIES TIMEOUT 300 SKIP_RETURN_CODE 77
    ENVIRONMENT "${QZ_PACKAGING_ENV}")
endforeach()
# The Debian packages build the library again from a copy: on a busy machine
# that alone can pass five minutes.
if("deb" IN_LIST QZ_PACKAGING_SCRIPTS)
  set_tests_properties(package_deb PROPERTIES TIMEOUT 900)
endif()
