# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# shellcheck disable=SC2034 # stop_program takes the processes by name
# The story of a family, wherever its service is. Sourced by scripts that begin a service and tell the story against it; never run.
#
# Those scripts define what the story knows of the service:
#   open_service           tells that the service begins, begins it, and sets $url to where it is, and service_logs to the files in
#                          which its processes note what they are asked
#   administer ARGUMENT... runs a command of kinloomd on the service's records
#   meanwhile WHAT         is called in the story's midst, with service, database and store: what may happen to them then
#   close_service          ends the service; fails when it does not end well
#   reopen_service         begins it again, at the same address
#   abandon_service        ends whatever of it still runs, at the end of the script
# and call prepare_story and tell_story.

. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

pictures=0 # 1: pictures of the pages are taken
# Names with umlauts and pictograms are to look like themselves, whatever the machine's language.
export LC_ALL=C.UTF-8
bold='' dim='' plain=''
if [ -t 1 ] && [ -z "${NO_COLOR-}" ]; then bold=$'\e[1m' dim=$'\e[2m' plain=$'\e[0m'; fi

home=''    # the story's own folder
living=''  # the living room's process
waiting=''  # a command of kinloom in the background
declare -A shown=() # how many lines of each of the service's logs were shown already
url=''     # where the service is
service_logs=()
showing='' # where the living room's page is
chapter='the beginning'

# --- what happens at the end, however it comes ---

# stop_program VARIABLE: ends the process that the variable names. Its exit code is that of this function.
stop_program() {
    local -n program_id=$1
    [ -n "$program_id" ] || return 0
    local pid=$program_id
    program_id=''
    kill -TERM "$pid" 2>/dev/null || true
    wait "$pid"
}

clean_up() {
    local status=$?
    trap - EXIT
    [ -z "$waiting" ] || kill -KILL -- "-$waiting" 2>/dev/null || true
    stop_program living 2>/dev/null || true
    abandon_service 2>/dev/null || true
    if [ "$status" -ne 0 ] && [ -n "$home" ] && [ -e "${service_logs[0]-}" ]; then
        mkdir -p "$logs"
        cat "${service_logs[@]}" >"$logs/${program##*/}-requests.log"
        say "" "$program: the story broke off at: $chapter" \
            "    What kinloom printed stands above; what the service was asked is in $logs/${program##*/}-requests.log" \
            "    A stale build? Remove $root/build/demo and run this again." >&2
    fi
    [ -z "$home" ] || rm -rf "$home"
    exit "$status"
}

# --- how the story is told ---

# tell TITLE LINE...
tell() {
    chapter=$1
    say "" "$bold$1$plain"
    shift
    [ $# -eq 0 ] || say "$@"
}

# A command line as a person would type it.
typed() {
    local word text=''
    for word in "$@"; do
        case $word in
            *[\ \&\"\'\#\;\$\*\(\)\<\>\|\!\?]*) word="'${word//\'/\'\\\'\'}'" ;;
            '') word="''" ;;
        esac
        text+=" $word"
    done
    printf '%s' "${text# }"
}

# Shows what the service was asked since the last time.
requests() {
    local log lines line all=()
    for log in "${service_logs[@]}"; do
        [ -e "$log" ] || continue
        mapfile -t -s "${shown[$log]-0}" lines <"$log"
        shown[$log]=$((${shown[$log]-0} + ${#lines[@]}))
        all+=("${lines[@]}")
    done
    [ ${#all[@]} -gt 0 ] || return 0
    # Of several services, by the time behind each line's priority.
    [ ${#service_logs[@]} -eq 1 ] || mapfile -t all < <(printf '%s\n' "${all[@]}" | sort -s -k1.4,1)
    for line in "${all[@]}"; do
        # What a balancer asks is none of the story.
        case $line in *' GET /healthz '* | *' unhealthy: '*) continue ;; esac
        printf "$dim    service: %s$plain\n" "$line"
    done
}

# as WHO ARGUMENT...: runs kinloom with WHO's configuration. Ctrl-C reaches it also where this script, begun in the background, does
# not hear it.
as() {
    local who=$1
    shift
    XDG_CONFIG_HOME=$home/$who XDG_STATE_HOME=$home/$who/state env --default-signal=INT "$bin/cli/kinloom" --table "$@"
}

# person WHO EXPECTED ARGUMENT...: shows and runs a command; its exit code must be the one expected.
person() {
    local who=$1 expected=$2 status=0
    shift 2
    say "" "  $who\$ kinloom $(typed "$@")"
    as "$who" "$@" 2>&1 || status=$?
    requests
    [ "$status" -eq "$expected" ] || fail "kinloom ended with exit code $status instead of $expected"
    [ "$status" -eq 0 ] || say "    (exit code $status)"
}
ada() { person ada 0 "$@"; }
ben() { person ben 0 "$@"; }

# value WHO MEMBER ARGUMENT...: the first member of that name in kinloom's JSON.
value() {
    local who=$1 member=$2
    shift 2
    as "$who" --json "$@" | sed -n "s/^ *\"$member\": \"\{0,1\}\([^\",]*\)\"\{0,1\},\{0,1\}\$/\1/p" | sed -n 1p
}

# photo NAME ARGUMENT...: makes a photograph.
photo() {
    local name=$1
    shift
    "$bin/cli/make_photo" "$home/photos/$name" "$@"
}

# --- what is needed ---

# prepare_story: builds the programs into $bin, makes $home, and has clean_up remove it at the end.
prepare_story() {
    trap clean_up EXIT
    trap 'exit 130' INT
    trap 'exit 143' TERM
    cd "$root"
    bin=$root/build/demo
    # Compiled as scripts/test compiles it, so that neither of the two compiles again what the other has compiled.
    quietly demo-configure "Configuring" \
        "A missing package? 'scripts/setup' installs all of them. A stale cache? Remove build/demo and run this again." \
        cmake --preset dev -B "$bin" -DKINLOOM_TESTS=OFF -DKINLOOM_BENCH=OFF
    quietly demo-build "Building" \
        "The first error stands above. 'cmake --build build/demo' builds again from there." \
        cmake --build "$bin" --parallel "$jobs" --target kinloom kinloomd kinloom-tv kinloom-pictures wkloai make_photo web

    home=$(mktemp -d "${TMPDIR:-/tmp}/kinloom-${program##*/}-XXXXXX")
    mkdir "$home/photos" "$home/album" "$home/ada" "$home/ben"
    # Programs tell here that they are ready.
    mkfifo "$home/ready"
    exec {ready}<>"$home/ready"
    [ -t 1 ] || export COLUMNS=${COLUMNS:-120}
}

# --- the story ---

tell_story() {
    local who name group first original thumbnail invite invitation code winter large address size status
    open_service
    tell "Ada and Ben get a device each" \
        "The service makes the three values that a device signs with; kinloom takes them over without showing them."
    for who in ada ben; do
        name=${who^}
        say "" "  $who\$ kinloomd device add --person $name | kinloom config import"
        administer device add --person "$name" | as "$who" config import |
            sed "s|$home|~|"
        as "$who" config set service "$url" >/dev/null
    done
    ada register
    ada login
    person ben 0 register

    tell "Groups with difficult names" "Blanks, ampersands, quotes and pictograms arrive as they were typed."
    ada group create "Summer & sea 2024" --desc "Two weeks at the lake: tents, boats & 100% sunshine"
    ada group create "Grandma's \"garden\""
    ada group create "🏖️ 漢字 + ünïcödé" --desc "a=b&c=d %41?"
    ada groups --count 2
    ada groups --count 2 --index 2
    ada groups --all --count 1

    group=$(value ada id groups --sort created --index 2 --count 1)
    [ -n "$group" ] || fail "there is no group to go on with"
    requests >/dev/null

    tell "What is not allowed" "Ben is no member of Ada's group $group. The service refuses him, and the plugin says so."
    person ben 1 group delete --yes "$group"

    tell "Photographs" "Four landscapes are painted: wide, tall, upside down and small. Two were taken with the camera held otherwise."
    photo lake.jpg --width 1600 --height 1200 --seed 7 --taken '2024:07:14 20:31:05'
    photo "tall & narrow.jpg" --width 900 --height 1350 --seed 3 --orientation 6 --taken '2024:07:15 21:02:40'
    photo overhead.jpg --width 1280 --height 853 --seed 11 --orientation 3 --taken '2024:07:16 05:12:11'
    photo small.webp --width 480 --height 320 --seed 5
    cd "$home/photos"
    # The first by itself: of four at a time any may be there first.
    ada upload "$group" lake.jpg --desc "At the lake & on the hills 😀"
    ada upload "$group" "tall & narrow.jpg" overhead.jpg small.webp --desc "At the lake & on the hills 😀"
    tell "A file that is none" "A mistyped name fails before anything is sent; the exit code tells."
    person ada 5 upload "$group" lakee.jpg
    meanwhile service
    tell "A whole folder" "What is in the group already is not sent again. It is fetched once to be compared; the second time that is known."
    ada upload "$group" .
    ada upload "$group" .
    ada feed "$group"

    tell "Ben joins, and they talk" "The group's owner lets him in."
    say "" "  \$ kinloomd member add $group Ben"
    administer member add "$group" Ben
    first=$(value ada id feed "$group" --after 0 --base id --count 1)
    requests >/dev/null
    ben comment add "$first" "What a sky! <3 & more of these, please"
    ada comment add "$first" "Evening of the 14th. 100% real 😀"
    ada content show "$first"

    meanwhile database
    tell "Down again, byte for byte"
    original=$(value ada url content show "$first")
    thumbnail=$(as ada --json content show "$first" | sed -n '/_540X405"/,/url/s/^ *"url": "\(.*\)"$/\1/p')
    requests >/dev/null
    cd "$home/album"
    ada download "$original" .
    ada download "$thumbnail" . --name lake-thumbnail.jpg
    ada content mime "$first"
    say "" "  ada\$ sha256sum ../photos/lake.jpg lake.jpg"
    sha256sum ../photos/lake.jpg lake.jpg | sed 's/^/  /'
    cmp -s ../photos/lake.jpg lake.jpg || fail "the original came back changed"
    person ada 5 download "$original" .

    tell "A look at it" "Where the terminal can show pixels, kinloom sends pixels; else it draws with letters."
    if [ -t 1 ]; then ada show "$first" --height 20; else ada show "$first" --width 72; fi

    tell "Cleo has a telephone and nothing else" \
        "An invitation works once. The page is in her browser then: groups, photos by month, comments, photos from the telephone."
    invite=(person invite Cleo --group "$group")
    say "" "  \$ kinloomd $(typed "${invite[@]}")"
    administer "${invite[@]}" 2>/dev/null >"$home/invitation"
    sed 's/^/  /' "$home/invitation"
    invitation=$(sed -n 1p "$home/invitation")

    tell "A television signs in without typing" \
        "It shows a code. Ada opens the address with her telephone, compares the code and approves; here the one who runs the service does."
    say "" "  television\$ kinloom pair $url --name \"Living room\""
    mkdir "$home/television"
    set -m
    as television pair "$url" --name "Living room" >"$home/pairing" 2>&1 &
    waiting=$!
    set +m
    code=''
    for ((i = 0; i < 300; ++i)); do
        code=$(grep -om1 '[A-Z]\{4\}-[A-Z]\{4\}' "$home/pairing" || true)
        [ -z "$code" ] || break
        kill -0 "$waiting" 2>/dev/null || break
        sleep 0.1
    done
    [ -n "$code" ] || fail "the television shows no code" "$(cat "$home/pairing")"
    say "" "  \$ kinloomd device approve $code --person Ada"
    administer device approve "$code" --person Ada | sed 's/^/  /'
    wait "$waiting" || fail "the television was not taken in" "$(cat "$home/pairing")"
    waiting=''
    sed "s|$home|~|; s/^/  /" "$home/pairing"
    requests
    person television 0 groups

    if [ "$pictures" -eq 1 ]; then
        tell "The page in pictures" "Cleo accepts her invitation in a browser; so look the views on a telephone and on a desktop."
        rm -rf "$bin/views"
        quietly demo-pictures "Taking pictures" "The browser is Debian's chromium." \
            env NODE_PATH="$bin/web/tree/node_modules" node "$bin/web/tree/tools/pictures.mjs" --invitation "$invitation" --outdir "$bin/views"
        (cd "$root" && find build/demo/views -name '*.png' | sort | sed 's/^/    /')
        requests >/dev/null
    fi

    meanwhile store
    tell "The whole group in a folder" "The second time there is nothing left to do."
    ada save "$group" mirror
    ada save "$group" mirror
    # shellcheck disable=SC2012 # for reading, not for a program
    ls -l mirror | sed -n 's/^/    /; 2,$p'

    tell "Ctrl-C half way" "A picture of twenty-five megabytes goes up. Its download stalls after ten; then Ctrl-C is pressed."
    photo large.png --width 3400 --height 2450 --seed 9
    winter=$(value ada id group create "Winter")
    large=$(value ada id upload "$winter" "$home/photos/large.png")
    # The identifier of the upload stands inside the list of its files.
    [ -n "$large" ] || fail "the upload has no identifier"
    address=$(value ada url content show "$large")
    requests
    mkdir "$home/inbox"
    say "" "  ada\$ kinloom download $address inbox    ^C"
    set -m # a job of its own, as a terminal would start it: Ctrl-C reaches it
    as ada download "$address" "$home/inbox" &
    waiting=$!
    set +m
    # What has arrived reaches the file in steps of a quarter of a megabyte.
    arrived() { find "$home/inbox" -type f -printf '%s\n' | sort -n | tail -n 1; }
    for ((i = 0; i < 600; ++i)); do
        size=$(arrived)
        [ "${size:-0}" -lt 9700000 ] || break
        kill -0 "$waiting" 2>/dev/null || break
        sleep 0.1
    done
    say "    $(arrived) bytes of $(stat -c %s "$home/photos/large.png") are in the file; it has no name yet:"
    (cd "$home/inbox" && find . -type f | sed 's/^/    /')
    kill -INT -- "-$waiting"
    status=0
    wait "$waiting" || status=$?
    waiting=''
    requests
    say "    (exit code $status)" "    Files in the folder now: $(find "$home/inbox" -mindepth 1 | wc -l)"
    [ "$status" -eq 130 ] || fail "the cancelled download ended with exit code $status instead of 130"
    [ -z "$(find "$home/inbox" -mindepth 1)" ] || fail "the cancelled download has left something behind"

    tell "Cleaning up"
    ada content delete --yes "$large"
    ada group delete --yes "$winter"
    ada groups --all
    requests
    close_service
    say "" "  \$ kinloomd check"
    administer check | sed 's/^/  /'

    tell "The living room" \
        "The service starts again, where it was, and Ada's television shows the family's photos: kinloom-tv loads the plugin as any television" \
        "would, and has a page that a remote control's arrows move."
    reopen_service
    say "" "  television\$ kinloom-tv --config ~/television/kinloom/host.toml"
    XDG_STATE_HOME="$home/television/state" "$bin/tv/kinloom-tv" --config "$home/television/kinloom/host.toml" --cache "$home/television/cache" >"$home/ready" 2>"$home/television.log" &
    living=$!
    read -r -t 60 -u "$ready" line || fail "kinloom-tv did not start" "$(cat "$home/television.log")"
    showing=${line##* }
    say "" "  $line"
    if [ "$pictures" -eq 1 ]; then
        tell "The living room in pictures" "Each of its views on televisions of 720, 1080 and 2160 rows."
        quietly demo-television "Taking pictures" "The browser is Debian's chromium." \
            env NODE_PATH="$bin/web/tree/node_modules" node "$bin/web/tree/tools/tv-pictures.mjs" --address "$showing" --outdir "$bin/views/living-room"
        (cd "$root" && find build/demo/views/living-room -name '*.png' | sort | sed 's/^/    /')
    fi
    requests >/dev/null
}
