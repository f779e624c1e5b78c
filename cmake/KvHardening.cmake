# What makes a mistake in memory harder to use against the user, for every target. A test reads the
# finished programs and fails when one lacks any of it. Sanitizer builds go without: they watch the same calls.
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

if(NOT KV_SANITIZE)
  target_compile_options(
    kv_options
    INTERFACE -fstack-protector-strong
              -fstack-clash-protection
              # The checked calls of the C library need an optimiser that knows the size of buffers.
              $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE
              -D_FORTIFY_SOURCE=2>)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    target_compile_options(kv_options INTERFACE -fcf-protection)
  elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
    target_compile_options(kv_options INTERFACE -mbranch-protection=standard)
  endif()
  # All addresses are looked up at the start; then their table is read-only.
  add_link_options(LINKER:-z,relro,-z,now)
endif()

# kv_program(NAME): a program that is installed. It can be loaded at any address.
function(kv_program NAME)
  set_target_properties(${NAME} PROPERTIES POSITION_INDEPENDENT_CODE ON)
endfunction()
