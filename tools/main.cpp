// SPDX-License-Identifier: GPL-2.0-only
// debug-pkt.
#include "tools/command_line.h"
#include "tools/message.h"

#include <exception>

namespace {

int run(int argc, char **argv)
{
	wanted_command wanted;
	if (const std::optional<int> status = read_command_line(argc, argv, wanted))
		return *status;
	if (wanted.command == "set")
		return run_set(wanted.set);
	if (wanted.command == "show")
		return run_show(wanted.sysctl_root);
	if (wanted.command == "off")
		return run_off(wanted.sysctl_root);
	if (wanted.command == "doctor")
		return run_doctor(wanted.doctor);
	if (wanted.command == "explain")
		return run_explain(wanted.line);
	if (wanted.command == "collect")
		return run_collect(wanted.collect);
	if (wanted.command == "watch")
		return run_watch(wanted.watch);
	if (wanted.command == "live")
		return run_live(wanted.live);
	if (wanted.command == "bench")
		return run_bench(wanted.bench);
	if (wanted.command == "view")
		return run_view(wanted.view);
	return run_read(wanted.read);
}

} // namespace

int main(int argc, char **argv)
{
	try {
		return run(argc, argv);
	} catch (const std::exception &failure) {
		message("{}", failure.what());
		return exit_environment;
	}
}
