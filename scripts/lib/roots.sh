# shellcheck shell=bash
# Root file systems of other Debian releases and architectures: made by debootstrap, entered in
# namespaces of their own. Sourced after common.sh, by root only.
#
# A root of an architecture that this machine cannot run is run by qemu, which the kernel calls for its
# programs (binfmt_misc). Where the kernel can, that is registered in a user namespace and goes with
# it; otherwise for the whole machine until the script ends.

if [[ $(id -u) -ne 0 ]]; then
  echo "${0##*/}: a root file system can be made and entered by root only" >&2
  exit 1
fi

# foreign ARCH: whether this machine needs qemu for the programs of an architecture.
foreign() {
  case $(dpkg --print-architecture)/$1 in
    "$1/$1" | amd64/i386 | arm64/armhf) return 1 ;;
  esac
}

# The file in which Debian's qemu says how programs of an architecture are known.
binfmt_of() {
  case $1 in
    arm64) echo /usr/lib/binfmt.d/qemu-aarch64.conf ;;
    armhf) echo /usr/lib/binfmt.d/qemu-arm.conf ;;
    *) echo "/usr/lib/binfmt.d/qemu-$1.conf" ;;
  esac
}

# in_namespaces ARCH COMMAND...: runs the command with mounts and processes of its own, which end with
# it and with the script, and with qemu for the programs of ARCH.
in_namespaces() {
  local arch=$1 own=(setpriv --pdeathsig KILL unshare --mount --pid --fork --kill-child)
  shift
  if ! foreign "$arch"; then
    "${own[@]}" "$@"
    return
  fi
  local binfmt
  binfmt=$(binfmt_of "$arch")
  if unshare --user --map-root-user --mount mount -t binfmt_misc none /proc/sys/fs/binfmt_misc 2>/dev/null; then
    # shellcheck disable=SC2016  # expanded by the shell inside
    in_user_namespace "${own[@]}" bash -c 'mount -t binfmt_misc none /proc/sys/fs/binfmt_misc &&
      cat "$0" >/proc/sys/fs/binfmt_misc/register && exec "$@"' "$binfmt" "$@"
    return
  fi
  local name status=0
  name=$(basename "$binfmt" .conf)
  mountpoint -q /proc/sys/fs/binfmt_misc || mount -t binfmt_misc none /proc/sys/fs/binfmt_misc
  if [[ ! -e /proc/sys/fs/binfmt_misc/$name ]]; then
    trap 'echo -1 >"/proc/sys/fs/binfmt_misc/'"$name"'"' EXIT
    cat "$binfmt" >/proc/sys/fs/binfmt_misc/register
  fi
  "${own[@]}" "$@" || status=$?
  return "$status"
}

# in_user_namespace COMMAND...: with all users of this machine under their own numbers. Only a process
# outside can say so.
in_user_namespace() {
  local here process go
  here=$(readlink /proc/self/ns/user)
  go=$(mktemp -u)
  mkfifo -m 600 "$go"
  # shellcheck disable=SC2016  # expanded by the shell inside
  setpriv --pdeathsig KILL unshare --user --kill-child bash -c 'read -r <"$0"; exec "$@"' "$go" "$@" </dev/null &
  process=$!
  while [[ $(readlink "/proc/$process/ns/user") == "$here" ]]; do
    sleep 0.01
  done
  echo "0 0 4294967295" >"/proc/$process/uid_map"
  echo "0 0 4294967295" >"/proc/$process/gid_map"
  echo go >"$go"
  rm "$go"
  wait "$process"
}

# in_root ARCH ROOT COMMAND...: inside the root.
in_root() {
  local arch=$1 root=$2
  shift 2
  # shellcheck disable=SC2016  # expanded by the shell inside
  in_namespaces "$arch" sh -c 'mount -t proc proc "$0/proc" && mount -t devpts -o newinstance,ptmxmode=0666 devpts "$0/dev/pts" &&
    exec chroot "$0" "$@"' "$root" \
    env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 "$@" </dev/null
}

# make_root ARCH SUITE ROOT: a root of a Debian release (bookworm, trixie) with its packages' index,
# from the mirror and through the proxies of this machine. One that is there is used again.
make_root() {
  local arch=$1 suite=$2 root=$3 mirror proxy device major minor
  if foreign "$arch"; then
    scripts/install-deps cross
  else
    scripts/install-deps roots
  fi
  # While it works, debootstrap keeps a folder of its own in the root.
  if [[ ! -x $root/usr/bin/apt-get || -e $root/debootstrap ]]; then
    # shellcheck disable=SC2016  # expanded by apt-get
    mirror=$(apt-get indextargets --format '$(COMPONENT) $(REPO_URI)' 'Created-By: Packages' |
      awk '$1 == "main" && !found++ { print $2 }')
    eval "proxy=; $(apt-config shell proxy Acquire::http::Proxy)"
    say "== $arch: making a root of $suite in $root"
    mkdir -p "$root"
    logged build/log/debootstrap env ${proxy:+http_proxy="$proxy"} \
      unshare --mount debootstrap --foreign --arch="$arch" --variant=minbase "$suite" "$root" ${mirror:+"$mirror"}
    # Inside a user namespace no device can be made, so the second stage finds them made.
    while read -r device major minor; do
      [[ -e $root/dev/$device ]] || mknod -m 666 "$root/dev/$device" c "$major" "$minor"
    done <<<$'null 1 3\nzero 1 5\nfull 1 7\nrandom 1 8\nurandom 1 9\ntty 5 0\nconsole 5 1'
    mkdir -p "$root/dev/pts"
    ln -sf pts/ptmx "$root/dev/ptmx"
    logged build/log/debootstrap-second in_namespaces "$arch" \
      env container=lxc chroot "$root" /debootstrap/debootstrap --second-stage
  fi
  local found
  found=$(in_root "$arch" "$root" dpkg --print-architecture)
  if [[ $found != "$arch" ]]; then
    echo "$root is a root of $found" >&2
    return 1
  fi
  cp -L /etc/resolv.conf /etc/hosts "$root/etc/"
  apt-config dump | grep -iE '^Acquire::https?::Proxy(::| )' >"$root/etc/apt/apt.conf.d/99proxies" || true
}
