#!/usr/bin/env python3
"""Fails when a build or test run used a Debian package that scripts/setup.sh does not install.

Usage: check-packages.py TRACE [TRACE...]
Each TRACE is the output of `strace -f -s 4096 -e trace=openat,execve -e status=successful`.
Every absolute path the traced processes opened or executed is mapped to the package that owns it
(dpkg's file lists). A package is allowed when it is essential or of required priority (present on
every Debian system), or when setup.sh's list reaches it through Depends and Pre-Depends. Anything
else was installed by hand on this machine and would be missing on a fresh one.
"""
import os
import re
import subprocess
import sys

DPKG_INFO = "/var/lib/dpkg/info"
DPKG_STATUS = "/var/lib/dpkg/status"
SYSTEM_PREFIXES = ("/usr/", "/lib", "/bin/", "/sbin/", "/etc/", "/opt/")
# Files that tools open while searching rather than because the build needs their package:
# pkgconf reads every .pc file on its path (what a module really needs shows in its headers and
# libraries); the C library reads locale.alias and loads the NSS modules nsswitch.conf names when
# they happen to be there, and ldconfig every ld.so.conf.d file; the linker loads every plugin in
# bfd-plugins (LLVM's gold plugin brings libLLVM); dbus-daemon reads every service file,
# systemd-analyze every unit, Qt every icon theme's index, Python every .pth file of its path, and
# the desktop-entry lookup every entry.
SCANNED = re.compile(r"\.pc$|\.pth$|^/usr/share/locale/locale\.alias$|/libnss_[^/]*\.so[.0-9]*$"
                     r"|^/etc/ld\.so\.conf\.d/|/bfd-plugins/|/libLLVM-[0-9.]+\.so"
                     r"|^/usr/share/dbus-1/(system-)?services/|^/usr/share/icons/[^/]+/index\.theme$"
                     r"|^(/usr)?/lib/systemd/(system|user)/|^/usr/share/applications/")
CALL = re.compile(r'\b(?:openat|execve)\((?:AT_FDCWD, )?"(/[^"]*)"')


def canonical(path):
    # Debian 12 has a merged /usr: /lib, /bin and /sbin are links into /usr, while file lists
    # may name either form.
    for top in ("/lib", "/lib32", "/lib64", "/libx32", "/bin", "/sbin"):
        if path == top or path.startswith(top + "/"):
            return "/usr" + path
    return path


def owners_index():
    index = {}
    for name in os.listdir(DPKG_INFO):
        if not name.endswith(".list"):
            continue
        package = name[:-5].split(":")[0]
        with open(os.path.join(DPKG_INFO, name), encoding="utf-8", errors="replace") as f:
            for line in f:
                index.setdefault(canonical(line.rstrip("\n")), set()).add(package)
    return index


def installed_packages():
    packages, provides = {}, {}
    with open(DPKG_STATUS, encoding="utf-8", errors="replace") as f:
        for stanza in f.read().split("\n\n"):
            fields, key = {}, None
            for line in stanza.splitlines():
                if line.startswith((" ", "\t")) and key:
                    fields[key] += " " + line.strip()
                elif ":" in line:
                    key, _, value = line.partition(":")
                    fields[key] = value.strip()
            name = fields.get("Package")
            if not name or "install ok installed" not in fields.get("Status", ""):
                continue
            depends = ", ".join(x for x in (fields.get("Pre-Depends"), fields.get("Depends")) if x)
            packages[name] = {
                "depends": depends,
                "base": fields.get("Essential") == "yes" or fields.get("Priority") == "required",
            }
            for virtual in filter(None, (p.strip().split(" ")[0] for p in fields.get("Provides", "").split(","))):
                provides.setdefault(virtual, set()).add(name)
    return packages, provides


def closure(roots, packages, provides):
    seen, todo = set(), list(roots)
    while todo:
        name = todo.pop()
        if name in seen:
            continue
        seen.add(name)
        for group in filter(None, (g.strip() for g in packages.get(name, {}).get("depends", "").split(","))):
            for alternative in group.split("|"):
                dep = alternative.strip().split(" ")[0].split(":")[0]
                for candidate in {dep} | provides.get(dep, set()):
                    if candidate in packages and candidate not in seen:
                        todo.append(candidate)
    return seen


def main(traces):
    setup = os.path.join(os.path.dirname(os.path.abspath(__file__)), "setup.sh")
    wanted = subprocess.run(["bash", setup, "--list"], check=True, capture_output=True, text=True).stdout.split()
    packages, provides = installed_packages()
    missing_from_machine = [p for p in wanted if p not in packages]
    allowed = closure([p for p in packages if packages[p]["base"]] + wanted, packages, provides)

    index = owners_index()
    used = {}
    for trace in traces:
        with open(trace, encoding="utf-8", errors="replace") as f:
            for line in f:
                m = CALL.search(line)
                # Folders are shared by many packages: listing one uses none of them.
                if not m or "O_DIRECTORY" in line or not m.group(1).startswith(SYSTEM_PREFIXES):
                    continue
                path = m.group(1)
                if SCANNED.search(path) or os.path.isdir(path):
                    continue
                for candidate in {canonical(path), canonical(os.path.realpath(path))}:
                    for package in index.get(candidate, ()):
                        used.setdefault(package, path)

    strays = sorted(p for p in used if p not in allowed)
    print(f"check-packages: {len(used)} packages used, {len(allowed)} reachable from scripts/setup.sh and the base system")
    for package in strays:
        print(f"check-packages: {package} is used (e.g. {used[package]}) but scripts/setup.sh does not install it")
    for package in missing_from_machine:
        print(f"check-packages: scripts/setup.sh names {package}, which is not installed")
    return 1 if strays or missing_from_machine else 0


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1:]))
