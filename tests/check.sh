# shellcheck shell=sh disable=SC2034,SC2154
# Sourced by what tries programs one by one: $dir is for files; ends with "exit $failed".
failed=0

# check WHAT COMMAND...: what it prints is shown if it fails
check() {
    what=$1
    shift
    if "$@" >"$dir/out" 2>&1; then
        echo "ok: $what"
    else
        echo "FAILED: $what"
        cat "$dir/out"
        failed=1
    fi
}
# tells STATUS TEXT COMMAND...: ends with STATUS, which may be a pattern, and has printed TEXT
tells() {
    wanted=$1
    text=$2
    shift 2
    "$@" >"$dir/said" 2>&1
    status=$?
    cat "$dir/said"
    # shellcheck disable=SC2254
    case $status in $wanted) [ -z "$text" ] || grep -qF -e "$text" "$dir/said" ;; *) false ;; esac
}
says() { tells '*' "$@"; }
not() { ! "$@"; }
