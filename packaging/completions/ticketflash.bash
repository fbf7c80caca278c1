# bash completion of ticketflash: options, devices by the kind of port, files by their endings.

# What is on the bus and on the serial lines, as -d takes it.
_ticketflash_devices() {
    local type=$1 cur=$2 line
    case $type in
        usb)
            echo ANY
            ticketflash --usbdevlist 2>/dev/null | grep -E '^[0-9A-F]{4}\|' | while IFS= read -r line; do
                printf '%q\n' "$line"
            done
            ;;
        ser)
            case $cur in
                *:*:*) printf '%s\n' "${cur%:*}":{HW,SW,NONE} ;;
                *:*) printf '%s:\n' "${cur%:*}":{1200,2400,4800,9600,19200,38400,57600,115200} ;;
                *) compgen -G '/dev/tty[SAU]*[0-9]' | sed 's/$/:/' ;;
            esac
            ;;
    esac
}

_ticketflash() {
    local options='--help --version --usbdevlist --printerversion -f -t -d -m -c -v'
    # The word under the cursor as it was typed: colons do not end it, other than bash has it.
    local typed=${COMP_LINE:0:COMP_POINT} cur prev type='' i words
    cur=${typed##*[[:space:]]}
    typed=${typed%"$cur"}
    read -r -a words <<<"$typed"
    prev=${words[-1]}
    for ((i = 1; i + 1 < ${#words[@]}; i++)); do
        [[ ${words[i]} == -t ]] && type=${words[i + 1]}
    done
    COMPREPLY=()
    case $prev in
        -f)
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -d -- "$cur"
                compgen -f -- "$cur" | grep -E '\.(mod|Mod|MOD|[Pp]sw|PSW|[Pp]fw|PFW)$')
            ;;
        -t) mapfile -t COMPREPLY < <(compgen -W 'usb eth ser' -- "$cur") ;;
        -c) mapfile -t COMPREPLY < <(compgen -W '1 2 3' -- "$cur") ;;
        -m) ;;
        -d)
            while IFS= read -r i; do
                [[ $i == "$cur"* ]] && COMPREPLY+=("$i")
            done < <(_ticketflash_devices "$type" "$cur")
            [[ ${COMPREPLY[0]:-} == *: ]] && compopt -o nospace 2>/dev/null
            # bash puts in what follows the last colon.
            if [[ $cur == *:* && $COMP_WORDBREAKS == *:* ]]; then
                COMPREPLY=("${COMPREPLY[@]#"${cur%:*}:"}")
            fi
            ;;
        *) mapfile -t COMPREPLY < <(compgen -W "$options" -- "$cur") ;;
    esac
}
complete -F _ticketflash ticketflash
