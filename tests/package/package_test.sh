#!/usr/bin/env bash
# Makes the .deb packages of this build with scripts/package, unpacks them
# into a root of their own and runs what they hold from there: both programs'
# --version, a login against the unpacked server started with the shipped
# configuration, and the client's first start in the installed layout. Then
# the manual pages, the service unit and lintian, which must report no error.
# Usage: package_test.sh BUILD_DIR VERSION
set -euo pipefail
build=$1 version=$2
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  rm -rf "$work"
}
trap cleanup EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

# Waits up to 10 s for a command to succeed while process $1 lives.
await() {
  local pid=$1; shift
  for _ in $(seq 200); do
    if "$@"; then return 0; fi
    kill -0 "$pid" 2>/dev/null || return 1
    sleep 0.05
  done
  return 1
}

VELMORA_BUILD=$build "$here/../../scripts/package" "$work/dist" >/dev/null
root=$work/root
debs=("$work"/dist/velmora_"$version"_*.deb "$work"/dist/velmorad_"$version"_*.deb)
for deb in "${debs[@]}"; do
  [ -f "$deb" ] || fail "scripts/package made no $(basename "$deb")"
  dpkg-deb -x "$deb" "$root"
done
bin=$root/usr/bin

for f in usr/share/velmora/Sounds/ReceiveIM.wav usr/share/velmora/Smilies/smilie.gif \
         usr/share/velmora/help/Index.html usr/share/applications/chat.velmora.Velmora.desktop \
         usr/share/metainfo/chat.velmora.Velmora.metainfo.xml \
         usr/share/icons/hicolor/scalable/apps/velmora.svg \
         usr/share/icons/hicolor/48x48/apps/velmora.png \
         etc/velmorad.conf lib/systemd/system/velmorad.service; do
  [ -f "$root/$f" ] || fail "the packages hold no /$f"
done

out=$("$bin/velmorad" --version)
[ "$out" = "velmorad $version" ] || fail "velmorad --version said \"$out\""
out=$(QT_QPA_PLATFORM=offscreen "$bin/velmora" --version 2>/dev/null)
[ "$out" = "Velmora $version" ] || fail "velmora --version said \"$out\""

# The server as the service runs it, on a free port and a database of ours.
db=$work/velmorad.db
"$bin/velmorad" useradd alicia secret1 --db "$db" --hash-cost fast >/dev/null
"$bin/velmorad" --config "$root/etc/velmorad.conf" --listen 127.0.0.1:0 --db "$db" \
  --hash-cost fast >"$work/server.out" 2>"$work/server.log" &
pids+=($!)
listening() { grep -q '^listening on ' "$work/server.out"; }
await "${pids[-1]}" listening || fail "the server did not start: $(cat "$work/server.log")"
port=$(sed -n 's/^listening on 127\.0\.0\.1:\([0-9]*\)$/\1/p' "$work/server.out")
exec 3<>"/dev/tcp/127.0.0.1/$port"
printf ' ## cmdLI /:/ alicia /:/ secret1 /:/ 1.4' >&3
expected=' ## +LI /$/ Login=True'
reply=$(timeout 10 head -c ${#expected} <&3 || true)
exec 3>&-
[ "$reply" = "$expected" ] || fail "login answered \"$reply\": $(cat "$work/server.log")"

# An installed client keeps its folder in XDG_DATA_HOME, with the shipped
# files copied in, and writes nothing beside the executable.
data=$work/data
(cd "$work" && exec env -u VELMORA_HOME HOME="$work/home" XDG_DATA_HOME="$data" \
   QT_QPA_PLATFORM=offscreen "$bin/velmora" 2>/dev/null) &
pids+=($!)
copied() { [ -f "$data/velmora/help/Index.html" ]; }
await "${pids[-1]}" copied || fail "the client made no $data/velmora with its help"
(cd "$root/usr/share/velmora" && find . -type f) | while read -r f; do
  cmp -s "$root/usr/share/velmora/$f" "$data/velmora/$f" || fail "$f was not copied"
done
[ "$(ls "$bin")" = "$(printf 'velmora\nvelmorad')" ] || fail "files beside the executable: $(ls "$bin")"

for page in "$root"/usr/share/man/man1/velmora.1.gz "$root"/usr/share/man/man8/velmorad.8.gz; do
  warnings=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -l "$page" 2>&1 >/dev/null)
  [ -z "$warnings" ] || fail "$(basename "$page"): $warnings"
done

# The unit as installed, pointed at the unpacked binary and manual.
sed "s|/usr/bin/velmorad|$bin/velmorad|" "$root/lib/systemd/system/velmorad.service" \
  >"$work/velmorad.service"
MANPATH=$root/usr/share/man systemd-analyze verify "$work/velmorad.service" ||
  fail "systemd-analyze verify found faults in velmorad.service"

report=$(lintian "${debs[@]}" 2>&1 | grep -v 'running with root privileges' || true)
[ -z "$report" ] || echo "$report"
if grep -q '^E:' <<<"$report"; then fail "lintian reports errors"; fi
echo "packages: $(cd "$work/dist" && ls ./*.deb | xargs) unpacked, run and checked"
