#!/usr/bin/env bash
# Has Apple check the signed bundle or disk image and attaches the ticket, so that it opens
# without a warning where it was downloaded.
# Usage: notarise.sh Zorvane.app [Zorvane.dmg]
#   NOTARY_PROFILE  keychain profile made with "xcrun notarytool store-credentials"
source "$(dirname "$0")/common.sh"
need xcrun
[ -n "${NOTARY_PROFILE:-}" ] || skip "NOTARY_PROFILE names no credentials"
# Nothing that was not signed for distribution is worth sending.
signature=$(codesign --display --verbose=2 "$app" 2>&1) || signature=
case $signature in
  *Authority="Developer ID Application"*) ;;
  *) skip "$app is not signed with a Developer ID" ;;
esac

subject=${2:-$app}
if [ ! -e "$subject" ]; then
  skip "there is no $subject"
fi
upload=$subject
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
if [ -d "$subject" ]; then
  upload=$folder/Zorvane.zip
  ditto -c -k --keepParent "$subject" "$upload"
fi
xcrun notarytool submit "$upload" --keychain-profile "$NOTARY_PROFILE" --wait
xcrun stapler staple "$subject"
echo "$step: $subject is notarised"
