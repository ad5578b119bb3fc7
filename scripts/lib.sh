# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# What the scripts share. Sourced by them, never run.

set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
program=$(realpath --relative-to="$root" "$0")
logs=$root/build/logs
jobs=${KINLOOM_JOBS:-$(nproc)}

# say LINE...
say() { printf '%s\n' "$@"; }

# fail MESSAGE...: each argument is one line.
fail() {
    printf '%s: %s\n' "$program" "$1" >&2
    shift
    [ $# -eq 0 ] || printf '    %s\n' "$@" >&2
    exit 1
}

# usage: prints the comment at the top of the running script.
usage() { sed -n '/^# Usage:/,/^[^#]/{/^#/s/^# \{0,1\}//p}' "$0"; }

seconds_to_text() {
    if [ "$1" -lt 60 ]; then printf '%d s' "$1"; else printf '%d min %02d s' $(($1 / 60)) $(($1 % 60)); fi
}

# What a line that is rewritten in place begins with; empty where nobody watches.
rewrite=
[ ! -t 1 ] || rewrite=$'\r\033[K'

# follow LOG WHAT: writes what comes in to LOG, and shows how far Ninja is: on a terminal in place, in a log with a line a minute.
follow() {
    local what=$2 line percent shown='' next=$((SECONDS + 60)) begin=$SECONDS lines=0
    while IFS= read -r line || [ -n "$line" ]; do
        printf '%s\n' "$line" >&3
        [[ $line =~ ^\[([0-9]+)/([0-9]+)\] ]] || continue
        percent=$((100 * BASH_REMATCH[1] / BASH_REMATCH[2]))
        if [ -n "$rewrite" ] && [ "$percent" != "$shown" ]; then
            printf '%s%s ... %d%%' "$rewrite" "$what" "$percent"
            shown=$percent
        elif [ -z "$rewrite" ] && [ "$SECONDS" -ge "$next" ]; then
            [ "$lines" -gt 0 ] || printf '\n'
            printf '    %d%% after %s\n' "$percent" "$(seconds_to_text $((SECONDS - begin)))"
            lines=$((lines + 1)) next=$((SECONDS + 60))
        fi
    done 3>"$1"
    if [ -n "$rewrite" ] || [ "$lines" -gt 0 ]; then printf '%s%s ... ' "$rewrite" "$what"; fi
}

# quietly LOG WHAT HINT command...: runs a command whose output matters only when it fails. Shows WHAT, how far it is and how long
# it took; on failure the first error of the output, or its end, and HINT.
quietly() {
    local log=$logs/$1.log what=$2 hint=$3 begin=$SECONDS
    shift 3
    mkdir -p "$logs"
    printf '%s ... ' "$what"
    if "$@" 2>&1 </dev/null | follow "$log" "$what"; then
        say "done ($(seconds_to_text $((SECONDS - begin))))"
        return 0
    fi
    say "failed"
    say "" >&2
    # Ninja and the compilers name the first error early and go on; what explains the failure is the first error, else the end.
    if grep -qE '(^FAILED:|error:|CMake Error)' "$log"; then
        grep -nE -m1 '(^FAILED:|error:|CMake Error)' "$log" | cut -d: -f1 | {
            read -r line
            sed -n "$line,$((line + 40))p" "$log" >&2
        }
    else
        tail -n 40 "$log" >&2
    fi
    say "" >&2
    fail "$what failed" "$hint" "The whole output is in $log"
}

# build_preset PRESET: configures and builds one of the presets of CMakePresets.json.
build_preset() {
    cd "$root"
    quietly "$1-configure" "Configuring ($1)" \
        "A missing package? 'scripts/setup' installs all of them. A stale cache? Remove build/$1 and run this again." \
        cmake --preset "$1"
    quietly "$1-build" "Building ($1)" \
        "The first error stands above. 'cmake --build build/$1' builds again from there." \
        cmake --build --preset "$1" --parallel "$jobs"
}

# Drops CTest's lines about tests that begin and tests that pass; counts them where a person is watching.
only_what_matters() {
    local begins='^ *Start +[0-9]+: '
    local passes='^ *([0-9]+/[0-9]+) +Test +#[0-9]+: .* Passed +[0-9.]+ sec'
    local chatter='^(Test project|Label Time Summary:$|[^ ]+ += +[0-9.]+ sec\*proc)'
    local line blank=0
    while IFS= read -r line; do
        if [[ $line =~ $passes ]]; then
            [ -z "$rewrite" ] || printf '%s%s tests' "$rewrite" "${BASH_REMATCH[1]}"
        elif [[ -z $line ]]; then
            blank=1
        elif [[ ! $line =~ $begins && ! $line =~ $chatter ]]; then
            printf '%s' "$rewrite"
            [ "$blank" -eq 0 ] || printf '\n'
            blank=0
            printf '%s\n' "$line"
        fi
    done
}

# test_preset PRESET [ctest option...]: runs the tests of a built preset, half as many again at a time as there are jobs, since much of
# what tests of whole programs do is wait. Shows what failed and CTest's own summary.
test_preset() {
    local preset=$1 status=0
    shift
    cd "$root"
    mkdir -p "$logs"
    rm -f "$logs/$preset-test.status" # of a run that was broken off
    { ctest --preset "$preset" --parallel $((jobs + (jobs + 1) / 2)) "$@" </dev/null 2>&1 || echo "$?" >"$logs/$preset-test.status"; } |
        tee "$logs/$preset-test.log" | only_what_matters
    if [ -e "$logs/$preset-test.status" ]; then
        read -r status <"$logs/$preset-test.status"
        rm -f "$logs/$preset-test.status"
    fi
    [ "$status" -eq 0 ] && return 0
    if grep -q 'No tests were found' "$logs/$preset-test.log"; then
        fail "no test matches: $*" "'ctest --preset $preset -N' lists them."
    fi
    fail "tests failed (preset $preset)" \
        "What they printed stands above and in $logs/$preset-test.log" \
        "One test again, with all its output: ctest --preset $preset -V -R 'Family.Name'" \
        "All that failed again: ${KINLOOM_TEST_PROGRAMS:+KINLOOM_TEST_PROGRAMS=1 }ctest --preset $preset --rerun-failed --output-on-failure"
}
