#!/bin/sh
# hardening.sh FILE... - reads these programs and shared libraries, and tells each thing that one of them lacks against
# the misuse of a mistake in memory. That every large step of the stack is touched (stack clash) cannot be seen there.
set -eu

export LC_ALL=C
status=0
lacks() { echo "$file: $1" >&2; status=1; }

for file in "$@"; do
    dynamic=$(readelf -dW "$file")
    segments=$(readelf -lW "$file")
    symbols=$(readelf --dyn-syms -W "$file")
    readelf -hW "$file" | grep -q 'Type: *DYN' || lacks "it cannot be loaded at any address (PIE)"
    echo "$segments" | grep -q GNU_RELRO || lacks "its tables of addresses stay writable (RELRO)"
    echo "$dynamic" | grep -q BIND_NOW || lacks "its addresses are not looked up at the start (full RELRO)"
    echo "$segments" | grep -q 'GNU_STACK.* RW ' || lacks "its stack can be executed"
    echo "$dynamic" | grep -qE 'R(UN)?PATH' && lacks "it looks for libraries in a folder of the build"
    echo "$symbols" | grep -q __stack_chk_fail || lacks "nothing watches over its stack (stack protector)"
    # A library of a few functions may call nothing that could be checked.
    case $file in
        *.so | *.so.*) ;;
        *) echo "$symbols" | grep -q '[a-z]_chk@' || lacks "no call of the C library is checked (fortify)" ;;
    esac
    # Where jumps may land is marked in our functions. The file as a whole is not, for Debian's start files are not.
    marks=$(objdump -d -j .text "$file" | grep -c -E 'endbr64|paciasp|bti' || true)
    [ "$marks" -gt 20 ] || lacks "jumps may lead anywhere (CET, or BTI and PAC): $marks marks"
done
exit $status
