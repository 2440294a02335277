#!/bin/sh
# Runs a command with a loopback interface of its own, where the system lets a user make one (a
# user and network namespace), so that a test's fake GigE Vision camera on 127.0.0.1 meets no
# other: only one camera at a time can hold the GigE Vision control port of an address. Where
# it can't, the command runs as it is, and tests pick their own camera by its serial number.
# A preloaded library (a sanitizer's helper) is for the command alone, not for the tools here.
command_preload="${LD_PRELOAD-}"
unset LD_PRELOAD
ip=$(command -v ip || echo /usr/sbin/ip)
if [ -x "$ip" ] && unshare -rn "$ip" link set lo up 2>/dev/null; then
    export TAVIX_COMMAND_PRELOAD="$command_preload"
    exec unshare -rn sh -c '"$0" link set lo up && LD_PRELOAD="$TAVIX_COMMAND_PRELOAD" exec "$@"' "$ip" "$@"
fi
LD_PRELOAD="$command_preload" exec "$@"
