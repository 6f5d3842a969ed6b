# Debian's stock kernel in an emulator, for tests that need a kernel of their own: no privileges
# are needed. To be sourced behind lib.sh; the script sets $work, a folder of its own, and beforehand
# $machine, when it is not to be amd64: arm64.

machine=${machine:-amd64}
packages_emulator=(busybox-static cpio xz-utils)
kernel_folder=$repository/build/kernel
emulator=(qemu-system-x86_64)
console=ttyS0
if [[ $machine == arm64 ]]; then
  packages_emulator+=(qemu-system-arm)
  kernel_folder+=-arm64
  emulator=(qemu-system-aarch64 -M virt -cpu cortex-a57)
  console=ttyAMA0
else
  packages_emulator+=(qemu-system-x86)
fi

# The kernel package is only downloaded and unpacked.
kernel_package() {
  apt-cache depends "linux-image-$machine:$machine" 2>/dev/null |
    sed -n "s/.*Depends: \\(linux-image-[0-9][^:]*\\).*/\\1:$machine/p" | head -n 1
}
unpack_kernel() {
  local package
  package=$(kernel_package)
  if [[ -z $package ]]; then # apt's lists are gone
    if [[ $(id -u) -eq 0 ]]; then apt-get -q update; else sudo apt-get -q update; fi
    package=$(kernel_package)
  fi
  [[ -n $package ]] || { echo "No kernel package is known; is apt's list there?" && return 1; }
  rm -rf "$kernel_folder" && mkdir -p "$kernel_folder"
  (cd "$kernel_folder" && apt-get -q download "$package" && dpkg-deb -x ./*.deb . && rm ./*.deb)
}
find_kernel() { find "$kernel_folder/boot" -name 'vmlinuz-*' 2>/dev/null | head -n 1; }
fetch_kernel() {
  [[ -n $(find_kernel) ]] || run_logged kernel "Fetching a kernel" unpack_kernel
}

# start_root MODULE...: a root file system in $root, with busybox and the kernel's modules in /modules.
# $busybox is the one of another machine.
start_root() {
  local module
  root=$work/root
  rm -rf "$root" && mkdir -p "$root"/{dev,proc,sys,tmp,modules}
  cp "${busybox:-/bin/busybox}" "$root/busybox"
  for module in "$@"; do
    find "$kernel_folder/lib/modules" -name "$module.ko*" -exec cp {} "$root/modules" \;
    if [[ -f $root/modules/$module.ko.xz ]]; then xz -d "$root/modules/$module.ko.xz"; fi
  done
}
pack_root() {
  chmod +x "$root/init"
  (cd "$root" && find . | cpio -o -H newc --quiet | gzip -1) >"$work/initramfs"
}

# boot SECONDS MEGABYTES ARGUMENT...: until the guest switches itself off; what it has said is in
# $work/console.txt. Further arguments go to the emulator.
boot() {
  local seconds=$1 memory=$2 kernel status=0
  shift 2
  kernel=$(find_kernel)
  rm -f "$work/console"
  timeout "$seconds" "${emulator[@]}" -accel tcg -smp 2 -m "$memory" -nographic -no-reboot \
    -nodefaults -serial file:"$work/console" -kernel "$kernel" -initrd "$work/initramfs" \
    -append "console=$console quiet panic=-1" "$@" || status=$?
  tr -d '\r' <"$work/console" >"$work/console.txt"
  return "$status"
}
