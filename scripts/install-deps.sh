#!/usr/bin/env bash
# Installs the Debian packages Mavo needs to build, run and test. Needs root; skips apt when all
# packages are already there.
set -euo pipefail

packages=(
    cmake g++ pkg-config ninja-build clang-format clang libclang-rt-14-dev
    libgtest-dev libgmock-dev libbenchmark-dev nlohmann-json3-dev libcurl4-openssl-dev libglib2.0-dev
    libxcb1-dev libxcb-randr0-dev libxcb-ewmh-dev libxcb-icccm4-dev libxcb-xinput-dev
    libxcb-res0-dev libxcb-util-dev libdbusmenu-glib-dev
    xvfb openbox xdotool xterm x11-xserver-utils x11-utils dbus imagemagick python3
    # window managers and a panel of other desktops, for the end-to-end tests
    xfwm4 xfce4-panel marco mate-settings-daemon-common mutter fluxbox
    # a real GTK 3 header-bar application
    gtk-3-examples
    # icons, the Debian package and its checks
    librsvg2-bin debhelper dpkg-dev lintian desktop-file-utils appstream
)

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "installing: ${missing[*]}"
    apt-get update -qq
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
