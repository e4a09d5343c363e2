# What the steps of packaging share; sourced by them. Each step takes the bundle as its first
# argument, does its part on a Mac, and says in one line why it does nothing where it cannot.
set -euo pipefail
step=$(basename "$0" .sh)
macos=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

skip() {
  echo "$step: skipped: $*"
  exit 0
}

fail() {
  echo "$step: $*" >&2
  exit 1
}

# A tool that comes with macOS or Xcode.
need() { # TOOL
  command -v "$1" >/dev/null || skip "there is no $1 here (it comes with macOS and Xcode)"
}

app=${1:-build/Zorvane.app}
[ -d "$app/Contents/MacOS" ] || fail "$app is no application; make build makes it"
[ -r "$app/Contents/Info.plist" ] || fail "$app/Contents/Info.plist cannot be read"
