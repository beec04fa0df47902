// SPDX-License-Identifier: GPL-2.0-only
// debug-pkt: the command line.
#include "tools/bench.h"
#include "tools/collect.h"
#include "tools/doctor.h"
#include "tools/help_format.h"
#include "tools/live.h"
#include "tools/message.h"
#include "tools/read.h"
#include "tools/set.h"
#include "tools/usage.h"
#include "tools/view.h"
#include "tools/watch.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <exception>
#include <memory>

namespace {

inline constexpr char read_notes[] =
	"Each frame is handed to the capture on device eth0 at the time that the file gives: a capture call (\"uol entry\"), a\n"
	"checkpoint (\" forward\") and the end of processing (\"T+ done\"). \"frame(N)\" in the text is the file's packet N.\n"
	"Packets of cooked (SLL, SLL2) and raw IP captures enter as from a layer-3 datapath, whose port is the egress.\n"
	"The last line on standard error counts packets and texts.\n"
	"\n"
	"LINE has twelve fields, in this order:\n"
	"  mirror device mac ipv6 ipv4 vlan proto port match type limit mode\n"
	"for example, what --type dns stands for (type bit 0x800):\n"
	"  0 all 0 0 0 0 0 0 0 2048 0 7\n"
	"\n"
	"Exit status: 0 done, 1 nothing matched, 2 usage error or an input that could not be read to its end, 3 an\n"
	"output that cannot be written.";

int run(int argc, char **argv)
{
	CLI::App app("Sets what the debug_pkt_dump module captures, and renders packets as it does.", "debug-pkt");
	app.set_version_flag("--version", "debug-pkt " DEBUG_PKT_VERSION);
	app.formatter(std::make_shared<help_format>());
	app.require_subcommand(1);

	read_options options;
	CLI::App *const read =
		app.add_subcommand("read", "Render capture files (pcap or pcapng, also in gzip or zstd); no module is needed.");
	read->footer(read_notes);
	read->add_option("FILE", options.files, "capture files; - is standard input")->required()->type_name("");
	add_capture_options(*read, options);
	read->add_option(
		    "--threads", options.threads,
		    "render on N CPUs, the output in the file's order (one when the settings have a limit or a mirror address)")
		->type_name("N")
		->check(number_between(1, 256));
	read->add_option("--mirror-out", options.mirror_out,
			 "pcap file (raw IP) for the datagrams of a mirror address in the settings; they come from 192.0.2.1")
		->type_name("FILE");
	add_view_options(*read, options.views, true);

	live_options live;
	add_live_command(app, live);

	collect_options collect;
	add_collect_command(app, collect);

	watch_options watch;
	add_watch_command(app, watch);

	set_options set;
	add_set_command(app, set);
	std::string line;
	add_explain_command(app, line);
	std::string sysctl_root;
	add_show_command(app, sysctl_root);
	add_off_command(app, sysctl_root);
	doctor_options doctor;
	add_doctor_command(app, doctor);
	bench_options bench;
	add_bench_command(app, bench);
	view_command_options view;
	add_view_command(app, view);

	try {
		app.parse(argc, argv);
		if (std::count(options.files.begin(), options.files.end(), "-") > 1)
			throw CLI::ValidationError("FILE", "standard input can be read only once");
		if (options.mirror_out == "-")
			throw CLI::ValidationError("--mirror-out", "standard output carries the text");
	} catch (const CLI::Success &help) {
		return app.exit(help);
	} catch (const CLI::ParseError &wrong) {
		explain_usage_error(app, wrong);
		return exit_bad_input;
	}
	if (app.got_subcommand("set"))
		return run_set(set);
	if (app.got_subcommand("show"))
		return run_show(sysctl_root);
	if (app.got_subcommand("off"))
		return run_off(sysctl_root);
	if (app.got_subcommand("doctor"))
		return run_doctor(doctor);
	if (app.got_subcommand("explain"))
		return run_explain(line);
	if (app.got_subcommand("collect"))
		return run_collect(collect);
	if (app.got_subcommand("watch"))
		return run_watch(watch);
	if (app.got_subcommand("live"))
		return run_live(live);
	if (app.got_subcommand("bench"))
		return run_bench(bench);
	if (app.got_subcommand("view"))
		return run_view(view);
	return run_read(options);
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
