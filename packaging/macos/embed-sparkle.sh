#!/usr/bin/env bash
# Copies Sparkle.framework into the bundle, where the updater looks for it at run time.
# Usage: embed-sparkle.sh Zorvane.app
#   SPARKLE_FRAMEWORK  path of an unpacked Sparkle.framework, version 2
source "$(dirname "$0")/common.sh"
[ -n "${SPARKLE_FRAMEWORK:-}" ] ||
  skip "SPARKLE_FRAMEWORK does not say where Sparkle.framework is; the bundle cannot update itself"
[ -d "$SPARKLE_FRAMEWORK/Versions/Current" ] ||
  fail "SPARKLE_FRAMEWORK is $SPARKLE_FRAMEWORK, which is no framework"
need ditto
mkdir -p "$app/Contents/Frameworks"
rm -rf "$app/Contents/Frameworks/Sparkle.framework"
ditto "$SPARKLE_FRAMEWORK" "$app/Contents/Frameworks/Sparkle.framework"
# Headers serve those who build with a framework; the services are for sandboxed applications.
rm -rf "$app/Contents/Frameworks/Sparkle.framework"/{,Versions/Current/}{Headers,PrivateHeaders,Modules,XPCServices}
echo "$step: Sparkle.framework is in $app"
