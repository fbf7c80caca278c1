# What is installed beside the program: packaging.sh texts|desk|fleet. Ends with 77 where a tool is not installed.
set -euo pipefail
work=$(mktemp -d)
trap 'kill $(cat "$work"/pids 2>/dev/null) 2>/dev/null; rm -rf "$work"' EXIT
need() { for tool; do command -v "$tool" >/dev/null || { echo "skipped: $tool is not installed"; exit 77; }; done; }
fail() { echo "FAILED: $*"; exit 1; }
same() { diff <(tr -d '\\[ ' <<<"$1" | sort -u) <(tr -d '\\[ ' <<<"$2" | sort -u); }

texts() {
    need man zsh
    local page=$BUILD/packaging/ticketflash.1 completions=$TREE/packaging/completions usage line
    bash -n "$completions/ticketflash.bash"; zsh -n "$completions/_ticketflash"
    same "" "$(man --warnings -l "$page" 2>&1 >/dev/null)"
    usage=$(grep -oE '[ []--?[a-z]+' <<<" --help $(TICKETFLASH_TEST_CLOCK=1,1 "$PROGRAM" --help)")
    same "$usage" "$(sed -n '/^.SH OPTIONS/,/^.SH DEVICES/p' "$page" | grep -A1 '^\.TP' | grep -oE ' (\\-)+[a-z]+')"
    same "$usage" "$(grep 'local options=' "$completions/ticketflash.bash" | grep -oE -- '--?[a-z]+')"
    same "$usage" "$(grep -oE -- '--?[a-z]+\[' "$completions/_ticketflash")"
    sed -nE 's/.*(EndRun\(|puts\(done \? )"([^"]*)".*/\2/p' "$TREE/src/main.cpp" | while read -r line; do
        grep -qFx ".B $line" "$page" || fail "the manual page does not explain: $line"
    done
    set +e; compopt() { :; }; source "$completions/ticketflash.bash"  # as the shell that people type into
    touch "$work/a.Pfw" "$work/b.txt"
    for line in "-t ser -d /dev/x:96=9600:" "-t ser -d /dev/x:9600:S=SW" "-t u=usb" "-f $work/=$work/a.Pfw"; do
        COMP_LINE="ticketflash ${line%=*}" COMP_POINT=1000 _ticketflash
        [ "${COMPREPLY[*]}" = "${line##*=}" ] || fail "completion of ${line%=*}: ${COMPREPLY[*]}"
    done
}

# Twenty printers: the 5th is off, the 11th does not answer at first, the 17th refuses the first module.
printers() {
    need "$1"
    mkdir "$work/bin"
    printf '#!/bin/sh\nTICKETFLASH_TEST_CLOCK=50,500 exec "%s" "$@"\n' "$PROGRAM" >"$work/bin/ticketflash"
    # Stands for a machine that is near, and for one that is away.
    printf '#!/bin/sh\nuntil [ "$1" = near ]; do [ "$1" ] || exit 255; shift; done; shift; sh -c "$*"\n' >"$work/bin/ssh"
    chmod +x "$work"/bin/*
    "$SIMULATOR" --samples "$work/samples" >/dev/null && mv "$work/samples/font.mod" "$work/a font.mod"
    for n in $(seq 20); do
        case $n in 11) set -- --fault protocol-version:1=silence ;; 17) set -- --fault module:1=33 ;; *) set -- ;; esac
        "$SIMULATOR" --tcp 0 --rate 50 "$@" >"$work/printer.$n" &
        echo $! >>"$work/pids"
        until grep -qs '^listening' "$work/printer.$n"; do sleep 0.05; done
        echo "p$n eth $(sed -n 's/^listening on //p' "$work/printer.$n")"
    done >"$work/printers"
    kill "$(sed -n 5p "$work/pids")"
}

desk() {
    printers parallel
    sed -i '20s/$/ near/; 19s/$/ away/' "$work/printers"
    for again in "" -r; do
        PATH=$work/bin:$PATH "$TREE/packaging/fleet/flash-desk" $again -o "$work/results" "$work/a font.mod" \
            "$work/printers" >"$work/table" && fail "all are said to be well"
        sed -nE '1d; / done /!s/ +[0-9]+\.[0-9] .*//p' "$work/table" | paste -sd, >>"$work/verdicts"
    done
    same $'p5 FAILED,p11 FAILED,p17 NOT TAKEN,p19 unreachable\np5 FAILED,p19 unreachable' "$(cat "$work/verdicts")"
    sed -i '$p; $s/p20/p21/' "$work/printers" # one printer by two names is refused
    "$TREE/packaging/fleet/flash-desk" -o "$work/results" "$work/a font.mod" "$work/printers" || [ $? = 2 ]
}

fleet() {
    printers ansible-playbook
    list=$(sed -E 's/(.*) (.*) (.*)/{name: \1, type: \2, device: "\3"}/' "$work/printers" | paste -sd,)
    printf 'printers: {vars: {ansible_connection: local, ticketflash_printers: [%s]}, hosts: {%s}}\n' >"$work/inventory.yml" "$list" \
        "near: {}, twice: {ticketflash_printers: [$list, $list]}, bare: {ticketflash_printers: }, away: {ansible_connection: ssh}"
    PATH=$work/bin:$PATH ansible-playbook -i "$work/inventory.yml" "$TREE/packaging/fleet/fleet.yml" -e ticketflash_serial=4 \
        -e "ticketflash_file='$work/a font.mod' ticketflash_become=false" >"$work/play" 2>&1 && fail "all are said to be well"
    same $'17changed\n1failedp5\n1failedp11\n1failedp17\n1near:101\n1twice:001\n1bare:001\n1away:010' "$(sed -nE '
        s/^failed: .near.*=(p[0-9]+)\).*/failed \1/p; s/^changed: .near.*=p.*/changed/p; /failed=/s/ok=[0-9]*|[a-z]+=|sk.*//gp' \
        "$work/play" | sort | uniq -c)"
}

"$1"
