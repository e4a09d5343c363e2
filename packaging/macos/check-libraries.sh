#!/usr/bin/env bash
# Refuses a bundle whose programs load a library that other Macs do not have: every library has to
# be the system's own or lie in the bundle. (The hardened runtime would refuse the others as well.)
# Usage: check-libraries.sh Zorvane.app
source "$(dirname "$0")/common.sh"
command -v otool >/dev/null || fail "there is no otool here (it comes with Xcode's tools)"

# Whether the system has the library, or the bundle really holds it.
isThere() { # PROGRAM LIBRARY
  case $2 in
    /usr/lib/* | /System/*) ;;
    @executable_path/* | @loader_path/*) [ -f "$(dirname "$1")/${2#*/}" ] ;;
    @rpath/*) [ -f "$app/Contents/Frameworks/${2#*/}" ] ;;
    *) return 1 ;;
  esac
}

wrong=
for program in "$app"/Contents/MacOS/* "$app"/Contents/Helpers/*; do
  [ -f "$program" ] || continue
  loaded=$(otool -L "$program") || fail "otool cannot read $program"
  # Lines that end in a colon name the program; the others: PATH (compatibility version ...).
  loaded=$(sed -e '/:$/d' -e 's/^[[:space:]]*//' -e 's/ (compat.*//' <<<"$loaded")
  [ -n "$loaded" ] || fail "otool names no library of $program"
  outside=
  while IFS= read -r library; do
    isThere "$program" "$library" || outside="$outside $library"
  done <<<"$loaded"
  if [ -n "$outside" ]; then
    echo "$step: $(basename "$program") loads what other Macs do not have:$outside" >&2
    wrong=1
  fi
done
[ -z "$wrong" ] || fail "$app does not run elsewhere; link these libraries statically"
echo "$step: $app needs nothing but macOS"
