#!/bin/sh
# check_style.sh BUILD_DIRECTORY
#
# Format, warnings and habits of all code, in seconds: clang-format, shellcheck, what the daemon's
# code keeps beyond the warnings of the build, clang-tidy. Says every finding; status 1 if there is one.
set -u
build=$1
cd "$(dirname "$0")/.." || exit 2
failed=0

check() { # WHAT COMMAND...
    what=$1
    shift
    if "$@" >"$build/style.log" 2>&1; then
        echo "ok: $what"
    else
        echo "FAILED: $what"
        cat "$build/style.log"
        failed=1
    fi
}

strict='-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wcast-qual
    -Wduplicated-cond -Wlogical-op -Wnull-dereference'
# shellcheck disable=SC2046,SC2086  # lists of words
{
    check "format" \
        clang-format --dry-run -Werror $(find src ctlmap bench tests -name "*.cpp" -o -name "*.h")
    check "shell scripts" shellcheck -x --severity=warning --exclude=SC2033 \
        .ci/run run test prove dist/ctlbridge.init $(find dist resources tests tools -name "*.sh")
    check "no dynamic memory in the daemon" \
        sh -c '! grep -nE "(= |return )new\>|\<[mc]alloc\(|std::(string|vector|map|function)\>" src/*'
    for file in src/*.cpp; do
        check "$file: strict warnings" g++ -std=c++20 -O2 -S -o /dev/null -Werror $strict "$file"
    done
    check "clang-tidy" clang-tidy --quiet -p "$build" src/*.cpp
}
exit $failed
