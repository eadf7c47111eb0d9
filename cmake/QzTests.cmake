# One test program per folder under tests/ (support/ is shared by all of them).
set(gtest_force_shared_crt ON CACHE BOOL "" FORCE)
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)

file(GLOB QZ_TEST_SUPPORT CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/support/*.cpp)
list(FILTER QZ_TEST_SUPPORT EXCLUDE REGEX "/[^/]*${QZ_OTHER_OS}[^/]*$")
add_library(qz_test_support STATIC ${QZ_TEST_SUPPORT})
target_include_directories(qz_test_support PUBLIC ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/tests)
target_link_libraries(qz_test_support PUBLIC qz_core GTest::gtest)

file(GLOB QZ_TEST_DIRS LIST_DIRECTORIES true ${PROJECT_SOURCE_DIR}/tests/*)
if(NOT QZ_UNIT_TESTS)
  set(QZ_TEST_DIRS "")
endif()
foreach(dir ${QZ_TEST_DIRS})
  get_filename_component(name ${dir} NAME)
  if(NOT IS_DIRECTORY ${dir} OR name STREQUAL "support" OR name STREQUAL "library"
     OR name STREQUAL "hosts")
    continue()
  endif()
  file(GLOB sources CONFIGURE_DEPENDS ${dir}/*.cpp)
  list(FILTER sources EXCLUDE REGEX "/[^/]*${QZ_OTHER_OS}[^/]*$")
  if(NOT sources)
    continue()
  endif()
  add_executable(qz_test_${name} ${sources})
  target_link_libraries(qz_test_${name} PRIVATE qz_test_support)
  if(WIN32)
    target_link_options(qz_test_${name} PRIVATE -static)
  endif()
  add_test(NAME ${name} COMMAND qz_test_${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT ${QZ_TEST_TIMEOUT})
endforeach()

# The shared library as a host sees it: linked through its exports only (the
# receiver's client comes as source, since the support library holds the core).
file(GLOB QZ_LIBRARY_TESTS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/library/*.cpp)
list(FILTER QZ_LIBRARY_TESTS EXCLUDE REGEX "/[^/]*${QZ_OTHER_OS}[^/]*$")
if(QZ_LIBRARY_TESTS)
  add_executable(qz_test_library ${QZ_LIBRARY_TESTS} ${PROJECT_SOURCE_DIR}/tests/support/Receiver.cpp
    ${PROJECT_SOURCE_DIR}/tests/support/LoopbackGet${QZ_OS}.cpp)
  target_include_directories(qz_test_library PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(qz_test_library PRIVATE qz GTest::gtest_main)
  if(WIN32)
    target_link_options(qz_test_library PRIVATE -static-libgcc -static-libstdc++ -static)
    target_link_libraries(qz_test_library PRIVATE ws2_32)
  else()
    target_link_libraries(qz_test_library PRIVATE ${CMAKE_DL_LIBS})
  endif()
  # Its runs keep stored batches out of the machine's storage folders.
  add_test(NAME library
    COMMAND ${QZ_PRIVATE_STORAGE} ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:qz_test_library>)
  set_tests_properties(library PROPERTIES TIMEOUT ${QZ_TEST_TIMEOUT})
endif()

# A host of every public member, built with the exported classes and with the
# inline ones over the flat functions (QZ_USE_FLAT_ABI); host_members runs both
# and compares what the members answer and what the runs post.
foreach(flavour classes flat)
  set(host qz_members_host)
  if(flavour STREQUAL "flat")
    set(host qz_members_host_flat)
  endif()
  add_executable(${host} ${PROJECT_SOURCE_DIR}/tests/hosts/MembersHost.cpp
    ${PROJECT_SOURCE_DIR}/tests/hosts/HostRuntimeStd.cpp)
  target_link_libraries(${host} PRIVATE qz)
  if(flavour STREQUAL "flat")
    target_compile_definitions(${host} PRIVATE QZ_USE_FLAT_ABI)
  endif()
  if(WIN32)
    target_link_options(${host} PRIVATE -static-libgcc -static-libstdc++ -static)
  endif()
endforeach()

# What the shared library exports and, on Windows, which DLLs it needs. Runs on
# the build machine: the tool reads the file, nothing is loaded.
if(WIN32)
  set(QZ_EXPORT_TOOL ${CMAKE_OBJDUMP})
else()
  set(QZ_EXPORT_TOOL ${CMAKE_NM})
endif()
add_test(NAME exports COMMAND sh ${PROJECT_SOURCE_DIR}/tests/library/check_exports.sh
  $<TARGET_FILE:qz> ${PROJECT_SOURCE_DIR}/include/qz ${QZ_OS} ${QZ_EXPORT_TOOL} ${QZ_FLAT_EXPORTS_FILE})
set_tests_properties(exports PROPERTIES TIMEOUT 120)

# Tests that post to a loopback collection endpoint: ctest starts
# tests/support/receiver.py once around them and tells them where it listens.
find_package(Python3 COMPONENTS Interpreter)
if(Python3_Interpreter_FOUND)
  set(QZ_RECEIVER_DIR ${PROJECT_BINARY_DIR}/receiver)
  set(QZ_RECEIVER ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/tests/support/receiver.py)
  add_test(NAME receiver_start COMMAND ${QZ_RECEIVER} start --state-dir ${QZ_RECEIVER_DIR})
  add_test(NAME receiver_stop COMMAND ${QZ_RECEIVER} stop --state-dir ${QZ_RECEIVER_DIR})
  set_tests_properties(receiver_start PROPERTIES FIXTURES_SETUP receiver TIMEOUT 60)
  set_tests_properties(receiver_stop PROPERTIES FIXTURES_CLEANUP receiver TIMEOUT 60)
  add_test(NAME host_members COMMAND ${QZ_PRIVATE_STORAGE} ${Python3_EXECUTABLE}
    ${PROJECT_SOURCE_DIR}/examples/compare_hosts.py
    ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:qz_members_host> --
    ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:qz_members_host_flat>)
  set_tests_properties(host_members PROPERTIES TIMEOUT 300)
  # Every public member of the exported classes has its inline counterpart.
  add_test(NAME inline_members COMMAND ${Python3_EXECUTABLE}
    ${PROJECT_SOURCE_DIR}/tests/library/check_inline_members.py ${PROJECT_SOURCE_DIR}/include/qz)
  set_tests_properties(inline_members PROPERTIES TIMEOUT 60)
  foreach(test delivery api offline library alloc host_members)
    if(TEST ${test})
      set_property(TEST ${test} APPEND PROPERTY FIXTURES_REQUIRED receiver)
      # Tests steer the one receiver's answers, so they take turns with it.
      set_property(TEST ${test} APPEND PROPERTY RESOURCE_LOCK qz_receiver)
      set_property(TEST ${test} APPEND PROPERTY ENVIRONMENT
        QZ_RECEIVER_DIR=${QZ_RECEIVER_DIR} no_proxy=127.0.0.1,localhost NO_PROXY=127.0.0.1,localhost)
    endif()
  endforeach()
endif()
