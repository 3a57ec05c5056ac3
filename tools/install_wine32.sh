#!/usr/bin/env bash
# Installs wine's 32-bit half (wine32:i386), which runs the Windows 32-bit
# test programs. Exits non-zero, with the i386 architecture taken away again
# so that apt keeps working, when it cannot be had.
#
# An i386 package must carry exactly the version of its installed amd64 twin.
# When the security archive's i386 index fails to download (a mirror serving
# an index that no longer matches its Release file), apt knows only the main
# archive's i386 builds, and every twin already updated from the security
# archive blocks the install. The fallback then keeps the security archive out
# of this one install and fetches the i386 build of each such twin, at the
# installed version, from the security pool, checked against the checksum in
# the index the mirror does serve.
set -uo pipefail
export DEBIAN_FRONTEND=noninteractive LC_ALL=C

dpkg -s wine32:i386 >/dev/null 2>&1 && exit 0

security=http://deb.debian.org/debian-security
suite=$(. /etc/os-release && echo "$VERSION_CODENAME")-security
prefs=/etc/apt/preferences.d/ztk-wine32-no-security
work=$(mktemp -d)
cleanup() { rm -f "$prefs"; rm -rf "$work"; }
trap cleanup EXIT

give_up() {
  echo "ci: wine32:i386 cannot be installed here: $1" >&2
  cleanup
  apt-get purge -y -qq --allow-remove-essential '~ri386' >/dev/null 2>&1 || true
  dpkg --remove-architecture i386 || true
  apt-get update -qq || true
  exit 1
}

dpkg --add-architecture i386
# A failed index is reported but the others are still used.
apt-get update -qq || true
apt-get install -y -qq --no-install-recommends wine32:i386 && exit 0

echo "ci: retrying wine32:i386 without the security archive's i386 index" >&2
cat >"$prefs" <<EOF
Package: *
Pin: release l=Debian-Security
Pin-Priority: -1
EOF

curl -sSf -o "$work/Packages.xz" "$security/dists/$suite/main/binary-i386/Packages.xz" ||
  give_up "no i386 index for $suite"
# name version filename sha256, one line per package
xz -dc "$work/Packages.xz" | awk '
  /^Package:/ {p = $2} /^Version:/ {v = $2} /^Filename:/ {f = $2}
  /^SHA256:/ {print p, v, f, $2}' >"$work/index" || give_up "unreadable i386 index"

apt-cache depends --recurse --no-recommends --no-suggests --no-conflicts --no-breaks \
  --no-replaces --no-enhances wine32:i386 2>/dev/null |
  sed -n 's/^\([a-z0-9][^ :]*\)\(:i386\)\{0,1\}$/\1/p' | sort -u >"$work/closure"

# name installed-amd64-version i386-candidate, for the twins in wine32's closure
dpkg-query -W -f='${db:Status-Abbrev}${Package}:${Architecture} ${Version}\n' |
  sed -n 's/^ii *\([^ ]*\):amd64 /\1 /p' | sort >"$work/installed"
# shellcheck disable=SC2046
apt-cache policy $(sed 's/$/:i386/' "$work/closure") 2>/dev/null |
  awk '/^[^ ]/ {p = $1; sub(/:i386:$/, "", p); sub(/:$/, "", p)} /Candidate:/ {print p, $2}' |
  sort | join "$work/installed" - >"$work/twins"

debs=()
while read -r pkg installed candidate; do
  [ "$candidate" != "(none)" ] || continue
  dpkg --compare-versions "$installed" gt "$candidate" || continue
  file= sum=
  read -r file sum < <(awk -v p="$pkg" -v v="$installed" '$1 == p && $2 == v {print $3, $4}' "$work/index")
  [ -n "$file" ] || give_up "$pkg:i386 $installed is in no index"
  deb="$work/$(basename "$file")"
  curl -sSf -o "$deb" "$security/$file" || give_up "cannot fetch $file"
  echo "$sum  $deb" | sha256sum -c --quiet - || give_up "checksum mismatch for $file"
  debs+=("$deb")
done <"$work/twins"

apt-get install -y -qq --no-install-recommends wine32:i386 "${debs[@]}" || give_up "apt cannot resolve it"
