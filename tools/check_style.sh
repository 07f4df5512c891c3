#!/bin/sh
# check_style.sh BUILD_DIRECTORY [BUILD_DIRECTORY_OF_FUZZING]
#
# Format and habits of all code: clang-format, shellcheck, clang-tidy, which takes its time and looks at the
# daemon's alone without the second directory. Says every finding; status 1 if there is one.
set -u
build=$1
cd "$(dirname "$0")/.." || exit 2
# Tools and tests may copy, pad and branch as reads best, and count nothing near the end of an int.
less='-performance-*,-bugprone-branch-clone,-*.Padding,-bugprone-implicit-widening*,-bugprone-misplaced-widening-cast'
less="$less,-bugprone-reserved-identifier,-bugprone-suspicious-memory-comparison"
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

# What the daemon's objects ask of libraries: nothing that allocates or throws, and nothing of C++'s.
no_dynamic_memory() {
    find "$build/src" -name '*.cpp.o' -exec nm -u -C {} + | sed -n 's/^ *[Uvw] //p' | sort -u >"$build/asked_for"
    ! grep -E '^(operator |([a-z]+ )?std::|__cxa_|(m|c|re|aligned_|v)alloc|reallocarray|(posix_)?memalign|free$|mmap|s?brk$|strn?dup|v?asprintf|getline|getdelim|open_memstream|scandir|glob|regcomp)' \
        "$build/asked_for" && grep -qx printf "$build/asked_for"
}

tidy() { # BUILD_DIRECTORY DIRECTORIES [CHECKS]
    # shellcheck disable=SC2086  # a list of words
    find $2 -name '*.cpp' -print0 | xargs -0 -n 2 -P "$(nproc)" \
        clang-tidy --quiet --extra-arg=-Wno-unknown-warning-option ${3:+--checks=$3} -p "$1"
}

# shellcheck disable=SC2046  # lists of words
{
    check "format" \
        clang-format --dry-run -Werror $(find src engine ctlmap page bench tests -name "*.cpp" -o -name "*.h")
    check "shell scripts" shellcheck -x --severity=warning --exclude=SC2033 \
        .ci/run run test prove dist/ctlbridge.init bench/machine/root/opt/bench/* bench/port/init $(find bench dist resources tests tools -name "*.sh")
    check "no dynamic memory in the daemon" no_dynamic_memory
    check "clang-tidy: the daemon" tidy "$build" src
    if [ $# -gt 1 ]; then
        check "clang-tidy: tools and tests" tidy "$build" \
            "$(find engine ctlmap bench tests -name '*.cpp' ! -path '*fuzz*')" "$less"
        check "clang-tidy: fuzzing" tidy "$2" "$(find tests -path '*fuzz*' -name '*.cpp')" "$less"
    fi
}
exit $failed
