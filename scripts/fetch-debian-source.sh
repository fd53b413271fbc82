#!/usr/bin/env bash
# Fetches and unpacks a Debian source package with apt-get source, using a private apt
# state directory so the machine's own apt configuration and lists stay untouched.
#   fetch-debian-source.sh PACKAGE DEST_DIR
# Prints the unpacked source directory on the last line of standard output.
set -euo pipefail
pkg=$1
dest=$2
mkdir -p "$dest"
dest=$(cd "$dest" && pwd)
state="$dest/apt-state"
mkdir -p "$state/lists/partial" "$state/cache/archives/partial" "$state/etc/sources.list.d" "$state/etc/preferences.d"

existing=$(find "$dest" -maxdepth 1 -mindepth 1 -type d -name "$pkg-*" | head -n 1)
if [ -n "$existing" ]; then
  echo "$existing"
  exit 0
fi

# Source entries mirror the binary entries the machine already uses (same mirrors, same keys).
sources="$state/etc/sources.list.d/src.sources"
: > "$sources"
for f in /etc/apt/sources.list.d/*.sources; do
  [ -f "$f" ] || continue
  sed -e 's/^Types:.*/Types: deb-src/' "$f" >> "$sources"
  echo >> "$sources"
done
if [ -f /etc/apt/sources.list ]; then
  grep -E '^deb ' /etc/apt/sources.list | sed -e 's/^deb /deb-src /' > "$state/etc/sources.list" || true
fi
[ -f "$state/etc/sources.list" ] || : > "$state/etc/sources.list"

opts=(-o "Dir::State=$state" -o "Dir::State::Lists=$state/lists" -o "Dir::State::status=/var/lib/dpkg/status"
      -o "Dir::Cache=$state/cache" -o "Dir::Etc::SourceList=$state/etc/sources.list"
      -o "Dir::Etc::SourceParts=$state/etc/sources.list.d" -o "Dir::Etc::Preferences=$state/etc/preferences"
      -o "Dir::Etc::PreferencesParts=$state/etc/preferences.d" -o "APT::Sandbox::User=root" -q)
apt-get "${opts[@]}" update >&2
(cd "$dest" && apt-get "${opts[@]}" source "$pkg" >&2)
find "$dest" -maxdepth 1 -mindepth 1 -type d -name "$pkg-*" | head -n 1
