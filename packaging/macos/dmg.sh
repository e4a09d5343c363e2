#!/usr/bin/env bash
# Makes a compressed disk image that holds the bundle and a link to /Applications to drop it on.
# Usage: dmg.sh Zorvane.app Zorvane.dmg
#   CODESIGN_IDENTITY  signs the image as well, if given
source "$(dirname "$0")/common.sh"
need hdiutil
image=${2:?dmg.sh: name the disk image to make}
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
ditto "$app" "$folder/Zorvane.app"
ln -s /Applications "$folder/Applications"
rm -f "$image"
hdiutil create -volname Zorvane -fs HFS+ -format UDZO -srcfolder "$folder" "$image"
if [ -n "${CODESIGN_IDENTITY:-}" ]; then
  codesign --force --timestamp --sign "$CODESIGN_IDENTITY" "$image"
fi
echo "$step: $image is ready"
