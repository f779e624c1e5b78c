# The two kinds of target this tree has, so that a folder's CMakeLists.txt is its file list and its needs.

# What every target of ours is compiled with. Sums in floating point are rounded at each step on every
# processor: predicted sizes and pitches must not depend on a fused operation.
add_library(kv_options INTERFACE)
add_library(kv::options ALIAS kv_options)
target_compile_features(kv_options INTERFACE cxx_std_20)
target_include_directories(kv_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(
  kv_options
  INTERFACE -Wall
            -Wextra
            -Wpedantic
            -Wconversion
            -Wsign-conversion
            -Wshadow
            -Wnon-virtual-dtor
            -Woverloaded-virtual
            -Wold-style-cast
            -Wcast-align
            -Wformat=2
            -Werror
            $<$<AND:$<CXX_COMPILER_ID:Clang>,$<NOT:$<BOOL:$<TARGET_PROPERTY:KV_MISUSES_LOCKS>>>>:-Wthread-safety;-Wthread-safety-beta>
            -ffp-contract=off)
if(KV_SANITIZE)
  # Lines alone, which reports name: all there could be makes a program twice as large.
  target_compile_options(kv_options INTERFACE -fsanitize=${KV_SANITIZE} -fno-sanitize-recover=all
                                              -fno-omit-frame-pointer -g1)
  target_link_options(kv_options INTERFACE -fsanitize=${KV_SANITIZE})
endif()
if(KV_COVERAGE)
  # Tests count too: the linker keeps one copy of an inline function, and that may be theirs.
  target_compile_options(kv_options INTERFACE --coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()

include(cmake/KvHardening.cmake)

# Archives hold neither times nor owners, so that the same objects give the same bytes.
set(CMAKE_CXX_ARCHIVE_CREATE "<CMAKE_AR> qcD <TARGET> <LINK_FLAGS> <OBJECTS>")
set(CMAKE_CXX_ARCHIVE_APPEND "<CMAKE_AR> qD <TARGET> <LINK_FLAGS> <OBJECTS>")
set(CMAKE_CXX_ARCHIVE_FINISH "<CMAKE_RANLIB> -D <TARGET>")

# kv_library(NAME SOURCES ... [PUBLIC targets] [PRIVATE targets]): the library kv_NAME with its alias kv::NAME.
# PUBLIC are the libraries our headers name, PRIVATE those only the .cpp files use.
function(kv_library NAME)
  cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
  add_library(kv_${NAME} STATIC ${ARG_SOURCES})
  add_library(kv::${NAME} ALIAS kv_${NAME})
  target_link_libraries(
    kv_${NAME}
    PUBLIC kv::options ${ARG_PUBLIC}
    PRIVATE ${ARG_PRIVATE})
endfunction()

# kv_test(NAME SOURCES ... LIBS targets): the test program NAME_test; every TEST in it is one CTest test.
function(kv_test NAME)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${NAME}_test ${ARG_SOURCES})
  target_link_libraries(${NAME}_test PRIVATE kv::options kv::test_support GTest::gmock GTest::gtest_main
                                             ${ARG_LIBS})
  # A test runs once: its optimisation would take longer than it saves.
  target_compile_options(${NAME}_test PRIVATE $<$<CONFIG:Release>:-O1>)
  if(KV_COVERAGE)
    target_sources(${NAME}_test PRIVATE "${PROJECT_SOURCE_DIR}/trust/counting/CountsAtAbort.cpp")
  endif()
  gtest_discover_tests(${NAME}_test DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300)
endfunction()
