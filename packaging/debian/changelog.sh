#!/bin/sh
# Debian's change log on standard output, from CHANGELOG.md: "## RELEASE - YYYY-MM-DD" begins a release, each "- " line
# (with the indented lines that continue it) is one of its changes. Usage: changelog.sh CHANGELOG.md CONTACT
set -eu
awk -v contact="$2" '
    function change(    i, n, words, line) {  # lines of at most 78 characters
        n = split(text, words, " ")
        line = "  *"
        for (i = 1; i <= n; i++) {
            if (length(line " " words[i]) > 78) { print line; line = "   " }
            line = line " " words[i]
        }
        if (n > 0) print line
        text = ""
    }
    function end() { change(); if (date != "") printf "\n -- %s  %s\n\n", contact, date }
    /^## [0-9]/ {
        end()
        ("LC_ALL=C date -u -R -d " $4) | getline date
        printf "ticketflash (%s) unstable; urgency=medium\n\n", $2
        next
    }
    date == "" { next }
    sub(/^- /, "") { change(); text = $0; next }
    text != "" { text = text " " $0 }
    END { end() }
' "$1"
