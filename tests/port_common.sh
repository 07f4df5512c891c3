# shellcheck shell=sh disable=SC2034,SC2154
# Sourced by what connects the virtual controller to other software: $bench plays it, $dir is for files.

# check NAME COMMAND...
check() {
    name=$1
    shift
    if ! "$@"; then
        echo "FAILED  $name: $*"
        tail -n 5 "$dir"/*.log
        exit 1
    fi
    echo "ok      $name"
}
# until_so COMMAND...: waits, without end, for it to succeed
until_so() { until "$@"; do sleep 0.1; done; }
# said STATE: it is told
said() { until_so told "$1"; }
told() { [ "$(tail -n 1 "$dir/states.log")" = "$1" ]; }
# refused TEXT COMMAND...: in one line, with status 2
refused() {
    text=$1
    shift
    "$@" >"$dir/refused.log" 2>&1
    [ $? -eq 2 ] && [ "$(wc -l <"$dir/refused.log")" -eq 1 ] && grep -q -e "$text" "$dir/refused.log"
}
# play OPTION... SCENARIO: in the background
play() {
    "$bench" play "$@" >"$dir/play.log" 2>"$dir/states.log" &
    playing=$!
}
