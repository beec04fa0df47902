# shellcheck shell=bash
# SPDX-License-Identifier: GPL-2.0-only
#
# A line that swaps and loses packets: the queueing discipline for that is not
# in every kernel.

# Selective acknowledgements, duplicates included.
make_tcp_sack() {
	pair
	in_ns a tc qdisc add dev eth0 root netem delay 40ms loss 15% duplicate 15% reorder 30% 50%
	head -c 12000 /dev/urandom >"$TMP/data"
	capture tcp-sack b eth0
	bg ip netns exec b socat -u TCP4-LISTEN:7000,reuseaddr "CREATE:$TMP/got"
	sleep 1
	in_ns a timeout 30 socat -u "OPEN:$TMP/data" TCP4:192.0.2.2:7000,mss=1000 || true
	sleep 2
	captured tcp
}
