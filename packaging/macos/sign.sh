#!/usr/bin/env bash
# Signs the bundle for distribution, from the inside out, with the hardened runtime.
# Usage: sign.sh Zorvane.app
#   CODESIGN_IDENTITY  name or SHA-1 of a "Developer ID Application" certificate in the keychain
source "$(dirname "$0")/common.sh"
need codesign
[ -n "${CODESIGN_IDENTITY:-}" ] ||
  skip "CODESIGN_IDENTITY names no certificate; the bundle runs on this Mac only"

# Signs PATH with further arguments of codesign, if it exists.
sign() { # PATH [ARGUMENT...]
  local path=$1
  shift
  [ ! -e "$path" ] ||
    codesign --force --timestamp --options runtime --sign "$CODESIGN_IDENTITY" "$@" "$path"
}

sparkle=$app/Contents/Frameworks/Sparkle.framework
sign "$sparkle/Versions/Current/Autoupdate"
sign "$sparkle/Versions/Current/Updater.app"
sign "$sparkle"
sign "$app/Contents/MacOS/zorvane-guardian" --identifier app.zorvane.guardian
sign "$app/Contents/MacOS/ostrad" --identifier app.zorvane.ostrad
sign "$app/Contents/Helpers/tessel-web" --identifier app.zorvane.tessel-web
sign "$app/Contents/Helpers/tessel" --identifier app.zorvane.tessel
sign "$app" --entitlements "$macos/entitlements.plist"
codesign --verify --strict --deep --verbose=2 "$app"
echo "$step: $app is signed"
