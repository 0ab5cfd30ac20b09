#!/usr/bin/env bash
# Runs scripts/check-layers on small made-up trees: a tree whose includes all
# point down must pass, and each kind of wrong include must fail and be named.
set -uo pipefail
check=${1:?usage: check_layers_selftest.sh PATH-TO-check-layers}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

# A tree where every area includes only what it may.
clean_tree() {
    local root=$1
    mkdir -p "$root"/src/{base,media,card,store,run,ui} "$root"/tests/{card,run,support}
    printf '#pragma once\n' >"$root/src/base/AppInfo.h.in"
    printf '#include "base/Platform.h"\n' >"$root/src/media/Tool.cpp"
    printf '#include "media/Tool.h"\n#include "base/AppInfo.h"\n' >"$root/src/card/Clip.h"
    printf '#include "media/ProResProfile.h"\n' >"$root/src/store/Settings.h"
    printf '#include "card/Clip.h"\n#include "store/Settings.h"\n#include "run/Queue.h"\n' >"$root/src/run/Driver.cpp"
    printf '#include "run/Driver.h"\n#include "Main.moc"\n#include <QtGui>\n' >"$root/src/ui/main.cpp"
    printf '#include "card/Clip.h"\n#include "SyntheticCard.h"\n' >"$root/tests/card/ClipTest.cpp"
    printf '#include "store/Settings.h"\n#include "run/Driver.h"\n' >"$root/tests/run/DriverTest.cpp"
    # The shared test toolbox is not an area.
    printf '#include "run/Driver.h"\n' >"$root/tests/support/Helper.h"
}

# expect NAME STATUS PATTERN: runs the check on $work/NAME; the exit status must
# be STATUS and, when given, the messages must contain PATTERN.
expect() {
    local name=$1 status=$2 pattern=${3:-} output actual
    output=$("$check" "$work/$name" 2>&1)
    actual=$?
    if [ "$actual" -ne "$status" ]; then
        echo "FAIL $name: exit status $actual, expected $status"$'\n'"$output"
        failures=$((failures + 1))
    elif [ -n "$pattern" ] && ! grep -qF -- "$pattern" <<<"$output"; then
        echo "FAIL $name: no \"$pattern\" in"$'\n'"$output"
        failures=$((failures + 1))
    else
        echo "ok   $name"
    fi
}

# variant NAME FILE TEXT: a clean tree with TEXT appended to FILE.
variant() {
    clean_tree "$work/$1"
    mkdir -p "$(dirname "$work/$1/$2")"
    printf '%s\n' "$3" >>"$work/$1/$2"
}

clean_tree "$work/clean"
expect clean 0

variant media-up src/media/Tool.cpp '#include "card/Clip.h"'
expect media-up 1 'src/media/Tool.cpp:2: media includes card/'

variant card-to-store src/card/Clip.h '#include "store/Settings.h"'
expect card-to-store 1 'src/card/Clip.h:3: card includes store/'

variant store-to-card src/store/Settings.h '#include "card/Clip.h"'
expect store-to-card 1 'src/store/Settings.h:2: store includes card/'

variant card-to-run src/card/Clip.cpp '#include "run/ExportFilename.h"'
expect card-to-run 1 'src/card/Clip.cpp:1: card includes run/'

variant base-up src/base/Platform.h '#include "media/Tool.h"'
expect base-up 1 'src/base/Platform.h:1: base includes media/'

variant run-to-ui src/run/Driver.cpp '  #  include "ui/QtDesktop.h"'
expect run-to-ui 1 'src/run/Driver.cpp:4: run includes ui/'

variant test-up tests/card/ClipTest.cpp '#include "run/Driver.h"'
expect test-up 1 'tests/card/ClipTest.cpp:3: card includes run/'

variant unknown-area src/report/Report.cpp '#include "card/Clip.h"'
expect unknown-area 1 'src/report: an area with no place in the layer order'

# Two wrong includes are both reported and counted.
variant two-wrong src/media/Tool.cpp '#include "run/Driver.h"'
printf '#include "ui/Main.h"\n' >>"$work/two-wrong/src/store/Settings.h"
expect two-wrong 1 'check-layers: 2 include(s) point the wrong way'

if [ "$failures" -gt 0 ]; then
    echo "$failures self-test case(s) failed"
    exit 1
fi
echo "all self-test cases passed"
