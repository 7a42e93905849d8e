# A Debian system of one's own in a folder, to try things where nothing else is installed; sourced by
# the scripts that do. Needs root.

# new_debian_root FOLDER PACKAGE...: makes it in FOLDER/system, with these packages, and sets
# `debian` to that. What it starts from is kept in FOLDER/base for the next time.
new_debian_root() {
  local folder=$1
  shift
  [[ $(id -u) == 0 ]] || fail "root is needed to set up a Debian system in $folder"
  debian=$folder/system
  mkdir -p "$folder"
  if [[ $(cat "$folder/base.packages" 2>/dev/null || true) != "$*" ]]; then
    say "Setting up Debian 12 in $folder"
    rm -rf "$folder"/base*
    debootstrap --variant=minbase bookworm "$folder/base" >"$folder/debootstrap.log" ||
      { tail "$folder/debootstrap.log"; fail "debootstrap cannot set up Debian in $folder"; }
    cp /etc/resolv.conf "$folder/base/etc/resolv.conf"
    # No service starts there because it is installed.
    printf '#!/bin/sh\nexit 101\n' >"$folder/base/usr/sbin/policy-rc.d"
    chmod +x "$folder/base/usr/sbin/policy-rc.d"
    debian=$folder/base
    in_root apt-get -q -y install --no-install-recommends "$@" >"$folder/packages.log" ||
      { tail "$folder/packages.log"; fail "the new Debian cannot install $*"; }
    debian=$folder/system
    echo "$*" >"$folder/base.packages"
  fi
  rm -rf "$debian"
  cp -a "$folder/base" "$debian"
}

# in_root COMMAND...: runs it there, with nothing of this environment. What is mounted for it goes away
# with it.
in_root() {
  # shellcheck disable=SC2016
  unshare --mount sh -ec 'root=$1
    shift
    mount -t proc proc "$root/proc"
    mount -t devpts -o newinstance,ptmxmode=0666 devpts "$root/dev/pts"
    ln -sf pts/ptmx "$root/dev/ptmx"
    exec chroot "$root" "$@"' sh "$debian" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 HOME=/root \
    DEBIAN_FRONTEND=noninteractive "$@" </dev/null
}
