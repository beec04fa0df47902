# shellcheck shell=bash
# SPDX-License-Identifier: GPL-2.0-only
#
# Helpers for the scripts that make the captures: network namespaces joined by
# veth pairs, and a capture that is started and stopped around real programs.
# Everything here runs inside the private namespaces which `run` creates, so
# that no frame leaves the machine and every program ends with the run.

# These are set by `run` before this file is read.
: "${OUT:?}" "${TMP:?}"

cap_pid=
cap_file=
bg_pids=()

say() { printf '%s\n' "$*" >&2; }

# in_ns NAME COMMAND... - run a command in a namespace.
in_ns() {
	local ns=$1
	shift
	ip netns exec "$ns" "$@"
}

# new_ns NAME [6] - a namespace; IPv6 stays off unless asked for, so that its
# own neighbour discovery is not in every file.
new_ns() {
	ip netns add "$1"
	if [ "${2:-}" != 6 ]; then
		in_ns "$1" sysctl -qw net.ipv6.conf.all.disable_ipv6=1 \
			net.ipv6.conf.default.disable_ipv6=1
	else
		# Tentative addresses would make each topic wait.
		in_ns "$1" sysctl -qw net.ipv6.conf.all.accept_dad=0 \
			net.ipv6.conf.default.accept_dad=0 \
			net.ipv6.conf.all.router_solicitations=0 \
			net.ipv6.conf.default.router_solicitations=0
	fi
	in_ns "$1" ip link set lo up
}

link_nr=0

# join NS1 DEV1 NS2 DEV2 - a cable between two namespaces. Checksum and
# segmentation offload are off, so that frames are complete as on a wire.
join() {
	local m1 m2 side
	link_nr=$((link_nr + 1))
	m1=$(printf '02:00:5e:10:%02x:01' "$link_nr")
	m2=$(printf '02:00:5e:10:%02x:02' "$link_nr")
	in_ns "$1" ip link add "$2" address "$m1" type veth \
		peer name "$4" address "$m2" netns "$3"
	for side in "$1 $2" "$3 $4"; do
		# shellcheck disable=SC2086 # two words on purpose
		set -- $side
		in_ns "$1" ethtool -K "$2" rx off tx off tso off gso off gro off \
			>/dev/null 2>&1 || say "offload stays on: $2"
		in_ns "$1" ip link set "$2" up
	done
}

# addr NS DEV ADDRESS... - give addresses.
addr() {
	local ns=$1 dev=$2 a
	shift 2
	for a; do
		case $a in
		*:*) in_ns "$ns" ip addr add "$a" dev "$dev" nodad ;;
		*) in_ns "$ns" ip addr add "$a" dev "$dev" ;;
		esac
	done
}

# pair [6] - the usual scene: namespaces a and b, one cable.
pair() {
	new_ns a "${1:-}"
	new_ns b "${1:-}"
	join a eth0 b eth0
	addr a eth0 192.0.2.1/24
	addr b eth0 192.0.2.2/24
	if [ "${1:-}" = 6 ]; then
		addr a eth0 2001:db8::1/64
		addr b eth0 2001:db8::2/64
	fi
}

# capture FILE NS DEV [FILTER...] - record until `captured`.
capture() {
	local ns=$2 dev=$3 try
	cap_file=$OUT/$1.pcap
	shift 3
	: >"$TMP/tcpdump.log" # else the line of the last capture would be found
	ip netns exec "$ns" tcpdump -Z root -p -U -s 0 --immediate-mode \
		-i "$dev" -w "$TMP/live.pcap" "$@" 2>"$TMP/tcpdump.log" &
	cap_pid=$!
	for try in $(seq 100); do
		grep -q 'listening on' "$TMP/tcpdump.log" && return 0
		kill -0 "$cap_pid" 2>/dev/null || break
		sleep 0.1
	done
	say "no capture on $dev after $try tries: $(cat "$TMP/tcpdump.log")"
	return 1
}

# captured [FILTER...] - end the recording, keep what the filter selects.
captured() {
	sleep 0.5
	kill -INT "$cap_pid"
	wait "$cap_pid" || true
	tcpdump -Z root -r "$TMP/live.pcap" -w "$cap_file" "$@" 2>/dev/null
	rm -f "$TMP/live.pcap"
	say "$(basename "$cap_file"): $(tcpdump -r "$cap_file" --count 2>/dev/null)"
}

# bg COMMAND... - a program of the scene; it ends with the scene.
bg() {
	"$@" >>"$TMP/bg.log" 2>&1 &
	bg_pids+=("$!")
}

# bg_signal SIGNAL - to the program started last.
bg_signal() { kill -s "$1" "${bg_pids[-1]}"; }

# wait_for SECONDS COMMAND... - until the command succeeds.
wait_for() {
	local n=$(($1 * 5))
	shift
	while [ "$n" -gt 0 ]; do
		if "$@" >/dev/null 2>&1; then
			return 0
		fi
		sleep 0.2
		n=$((n - 1))
	done
	say "gave up waiting for: $*"
	return 1
}

# scene_end - stop the programs, remove the namespaces.
scene_end() {
	local p n
	for p in "${bg_pids[@]}"; do
		kill "$p" 2>/dev/null || true
	done
	for n in $(ip netns list | cut -d ' ' -f 1); do
		for p in $(ip netns pids "$n"); do
			kill -KILL "$p" 2>/dev/null || true
		done
	done
	for p in "${bg_pids[@]}"; do
		wait "$p" 2>/dev/null || true
	done
	bg_pids=()
	for n in $(ip netns list | cut -d ' ' -f 1); do
		ip netns del "$n"
	done
	link_nr=0
}
