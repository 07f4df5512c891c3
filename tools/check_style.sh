#!/bin/sh
# check_style.sh BUILD_DIRECTORY
#
# Format and habits of all code: clang-format, shellcheck, clang-tidy. Says every finding; status 1 if
# there is one.
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

# shellcheck disable=SC2046,SC2086  # lists of words
{
    check "format" \
        clang-format --dry-run -Werror $(find src ctlmap bench tests -name "*.cpp" -o -name "*.h")
    check "shell scripts" shellcheck -x --severity=warning --exclude=SC2033 \
        .ci/run run test prove dist/ctlbridge.init bench/machine/root/opt/bench/latency bench/port/init $(find bench dist resources tests tools -name "*.sh")
    check "no dynamic memory in the daemon" \
        sh -c '! grep -nE "(= |return )new\>|\<[mc]alloc\(|std::(string|vector|map|function)\>" src/*'
    check "clang-tidy" clang-tidy --quiet --extra-arg=-Wno-unknown-warning-option -p "$build" src/*.cpp
}
exit $failed
