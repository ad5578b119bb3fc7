# SPDX-License-Identifier: MIT
# Completion of kinloom for bash. The program itself knows what may stand where; names of groups come from the service.

# _kinloom_open LINE: sets "open" to the quotation mark that is open at the line's end; empty when none is.
_kinloom_open() {
    open=''
    local i
    for ((i = 0; i < ${#1}; ++i)); do
        case $open/${1:i:1} in
            /\\ | \"/\\) ((++i)) ;;
            /[\'\"]) open=${1:i:1} ;;
            \'/\' | \"/\") open='' ;;
        esac
    done
}

# _kinloom_quoted WORD OPEN: sets "quoted" to the word as bash would read it back behind that open quotation mark, or behind none.
# Others have given groups their names, so nothing of a word may mean anything but itself.
_kinloom_quoted() {
    local LC_ALL=C.UTF-8
    quoted=''
    local i character
    for ((i = 0; i < ${#1}; ++i)); do
        character=${1:i:1}
        case $2/$character in
            \'/\') quoted+="'\\''" ;;
            \"/!) quoted+="\"'!'\"" ;; # a backslash before it would stay
            \"/[\$\`\"\\]) quoted+="\\$character" ;;
            [\'\"]/*) quoted+=$character ;;
            /[[:alnum:]] | /[-_./:=@%+,^] | /[!\ -~]) quoted+=$character ;;
            *) quoted+="\\$character" ;;
        esac
    done
}

_kinloom() {
    local typed=${COMP_LINE:0:COMP_POINT} current=${COMP_WORDS[COMP_CWORD]} line word quoted open before=''
    COMPREPLY=()
    _kinloom_open "$typed"
    # What bash takes for the current word begins behind a colon or an equals sign; the program is given whole words.
    local whole=${typed##*[[:blank:]]}
    [[ -z $open && $whole == *[:=]* ]] && before=${whole%"${whole##*[:=]}"}
    while IFS= read -r line; do
        case $line in
            @files)
                compopt -o filenames 2>/dev/null
                mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -f -- "$current")
                ;;
            @folders)
                compopt -o filenames 2>/dev/null
                mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -d -- "$current")
                ;;
            =*)
                word=${line#=}
                word=${word%%$'\t'*}
                _kinloom_quoted "$word" "$open"
                COMPREPLY+=("${quoted#"$before"}")
                ;;
        esac
    done < <("${COMP_WORDS[0]}" complete --line "$typed" 2>/dev/null)
}

complete -F _kinloom kinloom
