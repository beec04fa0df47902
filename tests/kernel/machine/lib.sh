# SPDX-License-Identifier: GPL-2.0-only
# What the tests of the machine share. A test is a script of its own process; its first failing check ends it.
# shellcheck shell=dash disable=SC2034,SC1090

params=/proc/sys/net/fw/debug_pkt_params
set_buff=/proc/sys/net/fw/debug_pkt_set_buff
gre_type=/proc/sys/net/fw/gre_type
stats=/sys/kernel/debug/debug_pkt_dump/stats
all_types=4294967295

passed=0
failed=0

# To the report, and to the kernel's log, where it stands between the lines that belong to it.
say() {
	echo "$*" >&3
	echo "test: $*" >/dev/kmsg
}

fail() {
	say "  failed: $*"
	exit 1
}

# equal WHAT EXPECTED FOUND
equal() {
	[ "$2" = "$3" ] && return
	say "  expected: $2"
	say "  found:    $3"
	fail "$1"
}

# wait_until WHAT COMMAND…: until the command succeeds. Machines are slow: the end of patience only tells a hang from a wait.
wait_until() {
	what=$1 tries=0
	shift
	until "$@"; do
		usleep 100000
		tries=$((tries + 1))
		[ $tries -lt 1200 ] || fail "$what"
	done
}

# What a kernel says when it finds fault with itself.
splats='WARNING:|BUG:|BUG |Oops|UBSAN|KASAN|KFENCE|INFO: |Call Trace|Backtrace:|scheduling while atomic|possible recursive|ODEBUG|unregister_netdevice: waiting|suspicious RCU|circular locking|refcount_t|stack guard|general protection|Unable to handle|Internal error'

# kernel_log MARK: what it has said since the mark came up last.
kernel_log() {
	dmesg | awk -v mark="$1" '{lines[NR] = $0} index($0, mark) {last = NR} END {
		if (!last) print "BUG: the log does not reach back to", mark
		else for (i = last + 1; i <= NR; i++) print lines[i]
	}'
}

# The traces up to here show where something was refused that this test meant to be; worse is not forgiven.
forgive_traces() {
	equal "complaints of the kernel" "" "$(kernel_log "$mark" | grep -E "$splats" | grep -vE 'Call Trace|Backtrace:')"
	echo "$mark" >/dev/kmsg
}

run_test() {
	name=${1##*/}
	mark="test: begin $name"
	echo "$mark" >/dev/kmsg
	if ! (. "$1"); then
		outcome="FAILED $name"
	elif kernel_log "$mark" | grep -qE "$splats"; then
		outcome="FAILED $name: the kernel complains"
	else
		passed=$((passed + 1))
		say "passed $name"
		return
	fi
	failed=$((failed + 1))
	say "$outcome"
	echo "  the kernel's log of $name:" >&3
	kernel_log "$mark" | tail -n 80 | sed 's/^/  | /' >&3
	for module in debug_pkt_datapath debug_pkt_test debug_pkt_dump debug_pkt_obstacle; do rmmod $module 2>/dev/null; done
}

load() {
	insmod /modules/debug_pkt_dump.ko || fail "debug_pkt_dump does not load"
}

unload() {
	rmmod debug_pkt_dump || fail "debug_pkt_dump does not unload"
}

# settings MIRROR DEV MATCH TYPE [LIMIT]: the other criteria stay at values that no packet has.
settings() {
	echo "$1 $2 00:00:00:00:00:00 0000:0000:0000:0000:0000:0000:0000:0000 0.0.0.0 0 0 0 $3 $4 ${5:-0} 7" >$params
}

counter() {
	awk -v name="$1" '$1 == name {print $2}' $stats
}

# counted NAME LEAST: whether the counter has come that far.
counted() {
	[ "$(counter "$1")" -ge "$2" ]
}
