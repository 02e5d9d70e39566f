#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the tools need, when missing.
set -euo pipefail

packages=(
    build-essential cmake ninja-build pkg-config git
    clang libclang-rt-14-dev clang-format
    qt6-base-dev qt6-base-dev-tools libgl-dev
    libsqlite3-dev sqlite3
    libgtest-dev libgmock-dev libbenchmark-dev
    nlohmann-json3-dev
    qt6-qpa-plugins qt6-svg-dev libxcb1-dev
    xvfb xauth xdotool x11-utils imagemagick fonts-dejavu-core
    xdg-utils
    dpkg-dev lintian desktop-file-utils appstream libxml2-utils shared-mime-info man-db
    locales
)

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

as_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

if [ "${#missing[@]}" -gt 0 ]; then
    echo "Installing: ${missing[*]}"
    as_root apt-get update -qq
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

# The number-form tests also run under a comma-decimal locale, as a desktop session may.
if ! locale -a 2>/dev/null | grep -qi '^de_DE\.utf-\?8$'; then
    if [ -f /etc/locale.gen ]; then
        as_root sed -i 's/^# *de_DE.UTF-8 UTF-8/de_DE.UTF-8 UTF-8/' /etc/locale.gen
        grep -q '^de_DE.UTF-8 UTF-8' /etc/locale.gen || echo 'de_DE.UTF-8 UTF-8' | as_root tee -a /etc/locale.gen >/dev/null
        as_root locale-gen >/dev/null || true
    fi
fi
