// SPDX-License-Identifier: GPL-2.0-only
// Alone with usage.cpp in including the library: that costs more time to compile than the rest of the tool.
#include "tools/command_line.h"

#include "tools/message.h"
#include "tools/settings_entry.h"
#include "tools/timed_settings.h"
#include "tools/usage.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <functional>

namespace {

// A number as the options take it, also after 0x.
std::optional<long> number_in(const std::string &text)
{
	const bool hex = text.starts_with("0x");
	long number = 0;
	const char *const end = text.data() + text.size();
	const auto [stop, error] = std::from_chars(text.data() + (hex ? 2 : 0), end, number, hex ? 16 : 10);
	return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

// What is to be checked of an option that takes a number.
std::function<std::string(const std::string &)> number_between(long low, long high)
{
	return [low, high](const std::string &text) {
		const std::optional<long> number = number_in(text);
		return number && *number >= low && *number <= high
			       ? ""
			       : fmt::format("a number from {} to {} is expected, not {}", low, high, text);
	};
}

void add_sysctl_root(CLI::App &command, std::string &sysctl_root)
{
	sysctl_root = default_sysctl_root;
	command.add_option("--sysctl-root", sysctl_root, "folder of the sysctl tree (default /proc/sys)")->type_name("FOLDER");
}

// with_frames: the command has the frames themselves.
void add_view_options(CLI::App &command, view_options &options, bool with_frames)
{
	CLI::Option *const json = command.add_flag(
		"--json", options.json, "a JSON record per line instead of the text, one for each packet and checkpoint");
	command.add_flag("--journey", options.journey,
			 "each packet's way instead of the text: its checkpoints, what changed, the time between")
		->excludes(json);
	command.add_flag("--summary", options.summary, "at the end, packets by type, host and path of checkpoints; no text")
		->excludes(json);
	command.add_option("--graph", options.graph, "at the end, the paths of checkpoints as a graph for Graphviz")
		->type_name("FILE.dot")
		->check([](const std::string &path) {
			return path == "-" ? std::string("a file is expected, standard output carries the text") : std::string();
		});
	command.add_option("--color", options.color,
			   "auto (default): the text in colours on a terminal, unless NO_COLOR is set; always; never")
		->type_name("WHEN")
		->check([](const std::string &word) {
			return word == "auto" || word == "always" || word == "never"
				       ? ""
				       : "auto, always or never is expected, not " + word;
		});
	if (!with_frames)
		return;
	command.add_option(
		       "-w,--write", options.frames,
		       "pcapng file of the rendered frames, each with its text as its comment; - is standard output, without text")
		->type_name("FILE.pcapng");
	command.final_callback([&options] {
		if (options.frames == "-" && (options.json || options.journey || options.summary))
			throw CLI::ValidationError("--write", "standard output carries the view that is asked for");
	});
}

// Some of the filter's options and --profile, all of them in one group of the command's help; none of them beside `instead`.
void add_filter_options(CLI::App &command, wanted_filter &wanted, const std::vector<std::string> &left_out = {},
			CLI::Option *instead = nullptr)
{
	const auto finish = [instead](CLI::Option *option, const char *value) {
		option->type_name(value)->group("Filter");
		if (instead)
			option->excludes(instead);
	};
	for (const filter_option &option : filter_options) {
		if (std::find(left_out.begin(), left_out.end(), option.name) != left_out.end())
			continue;
		finish(command.add_option_function<std::string>(
			       std::string("--") + option.name,
			       [&words = wanted.words, name = option.name](const std::string &text) { words[name] = text; },
			       option.help),
		       option.value);
	}
	finish(command.add_option(
			      "--profile", wanted.profile,
			      "a filter under a name: dhcp, dns, voip, client=MAC, tunnels, neighbours, one of your own, a file "
			      "(./FILE); the other options go first")
		       ->check([](const std::string &text) { return text.empty() || text[0] == '=' ? "a name is missing" : ""; }),
	       "NAME[=VALUE]");
}

void add_capture_options(CLI::App &command, rendering_options &options)
{
	options.settings = all_packets;
	CLI::Option *const line =
		command.add_option_function<std::string>(
			       "--settings",
			       [&options](const std::string &text) {
				       if (const std::string reason = read_settings_line(text, options.settings); !reason.empty())
					       throw CLI::ValidationError("--settings", reason);
			       },
			       "settings line, as it is written to net/fw/debug_pkt_params, or as reading that gives it")
			->type_name("LINE");
	add_filter_options(command, options.wanted, {"mode"}, line);
	command.parse_complete_callback([&options] {
		if (!options.wanted.given())
			return;
		if (const std::string reason = read_wanted_filter(options.wanted, options.settings); !reason.empty())
			throw CLI::ValidationError(reason);
	});
	command.add_option("--gre-type", options.gre_type, "net/fw/gre_type: one more GRE protocol that carries Ethernet")
		->type_name("NUMBER")
		->check(number_between(0, 0xffff));
	command.add_flag_callback(
		"--no-follow-ups", [&options] { options.follow_ups = false; }, "the capture call alone");
	command.add_option("--time-zone", "minutes west of Greenwich and the DST word, which adds whole hours (default 0,0)")
		->type_name("MINUTES_WEST[,DST]")
		->check([&options](const std::string &text) { return read_time_zone(text, options.minutes_west, options.dst); });
}

void add_read_command(CLI::App &app, read_options &options)
{
	CLI::App *const read =
		app.add_subcommand("read", "Render capture files (pcap or pcapng, also in gzip or zstd); no module is needed.");
	read->footer(
		"Each frame is handed to the capture on device eth0 at the time that the file gives: a capture call (\"uol "
		"entry\"), a\n"
		"checkpoint (\" forward\") and the end of processing (\"T+ done\"). \"frame(N)\" in the text is the file's packet "
		"N.\n"
		"Packets of cooked (SLL, SLL2) and raw IP captures enter as from a layer-3 datapath, whose port is the egress.\n"
		"The last line on standard error counts packets and texts.\n"
		"\n"
		"LINE has twelve fields, in this order:\n"
		"  mirror device mac ipv6 ipv4 vlan proto port match type limit mode\n"
		"for example, what --type dns stands for (type bit 0x800):\n"
		"  0 all 0 0 0 0 0 0 0 2048 0 7\n"
		"\n"
		"Exit status: 0 done, 1 nothing matched, 2 usage error or an input that could not be read to its end, 3 an\n"
		"output that cannot be written.");
	read->add_option("FILE", options.files, "capture files; - is standard input")->required()->type_name("");
	add_capture_options(*read, options);
	read->add_option("--threads", options.threads,
			 "render on N CPUs, the output in the file's order (one when the settings have a limit or a mirror "
			 "address)")
		->type_name("N")
		->check(number_between(1, 256));
	read->add_option("--mirror-out", options.mirror_out,
			 "pcap file (raw IP) for the datagrams of a mirror address in the settings; they come from 192.0.2.1")
		->type_name("FILE");
	add_view_options(*read, options.views, true);
}

void add_live_command(CLI::App &app, live_options &options)
{
	CLI::App *const live = app.add_subcommand("live", "Render what passes an interface of this machine; no module is needed.");
	live->footer("Says on standard error when it captures and ends on Ctrl-C, with a line of counters there. \"frame(N)\" in\n"
		     "the text is the Nth packet.\n"
		     "A mirror address in the settings sends the frames there instead of rendering them; those of an interface\n"
		     "without Ethernet headers go as they are.\n"
		     "Exit status: 0 done, 1 nothing matched, 2 usage error, 3 the interface or an output does not work.");
	live->add_option("-i,--interface", options.interface, "the interface")->required()->type_name("IFACE");
	add_capture_options(*live, options);
	add_view_options(*live, options.views, true);
}

// A number of bytes, also with k, M or G behind it; none when it is neither, or zero.
std::optional<uint64_t> read_size(const std::string &text)
{
	uint32_t number = 0;
	const char *const end = text.data() + text.size();
	const auto [unit, error] = std::from_chars(text.data(), end, number);
	if (error != std::errc() || !number || end - unit > 1)
		return std::nullopt;
	switch (unit == end ? 0 : *unit) {
	case 0:
		return number;
	case 'k':
		return uint64_t(number) << 10;
	case 'M':
		return uint64_t(number) << 20;
	case 'G':
		return uint64_t(number) << 30;
	default:
		return std::nullopt;
	}
}

void add_collect_command(CLI::App &app, collect_options &options)
{
	CLI::App *const collect = app.add_subcommand("collect", "Receive and render what appliances mirror to this machine.");
	collect->footer("Receives GRE (IP protocol 47) over IPv4 and IPv6 with Ethernet frames in it: what the mirror sends, and "
			"ERSPAN of type I\n"
			"and II. The text names the appliance as the device. Sequence numbers are followed where there are any: "
			"gaps are said\n"
			"on standard error (the first ten of each sender), stand in the file and are counted. A frame that is "
			"itself a GRE datagram\n"
			"between the same two addresses, as where the mirror sees its own output, is left out and counted.\n"
			"\n"
			"-w keeps the frames that the settings pass, each with its text as its comment; every appliance is an "
			"interface of the\n"
			"file. For an analyser:  debug-pkt collect -w - | wireshark -k -i -\n"
			"With --rotate-size or --rotate-age FILE.pcapng becomes FILE-TIME-NUMBER.pcapng, TIME in UTC.\n"
			"\n"
			"Ends on Ctrl-C, with a line of counters for each sender. Exit status: 0 done, 1 nothing matched, 2 usage "
			"error, 3 a\n"
			"socket or an output does not work.");
	add_capture_options(*collect, options);
	add_view_options(*collect, options.views, false);
	CLI::Option *const output = collect->add_option("-w,--write", options.output,
							"keep the frames in a pcapng file; - is standard output, without text")
					    ->type_name("FILE.pcapng");
	collect->add_option_function<std::string>(
		       "--rotate-size", [&options](const std::string &text) { options.limits.bytes = read_size(text).value_or(0); },
		       "begin a new file once one has this size: 500k, 100M, 2G")
		->type_name("SIZE")
		->check([](const std::string &text) {
			return read_size(text) ? "" : fmt::format("a size such as 500k, 100M or 2G is expected, not {}", text);
		})
		->needs(output);
	collect->add_option_function<std::string>(
		       "--rotate-age",
		       [&options](const std::string &text) { options.limits.seconds = read_duration(text).value_or(0); },
		       "end a file when its first frame is this old: 60s, 5m, 2h")
		->type_name("TIME")
		->check([](const std::string &text) {
			return read_duration(text) ? "" : fmt::format("a time such as 60s, 5m or 2h is expected, not {}", text);
		})
		->needs(output);
	collect->final_callback([&options] {
		if (options.output == "-" && (options.views.json || options.views.journey || options.views.summary))
			throw CLI::ValidationError("--write", "standard output carries the view that is asked for");
		options.views.no_text = options.output == "-";
		if (options.output == "-" && options.limits.wanted())
			throw CLI::ValidationError("--write", "standard output cannot be rotated: a file is needed");
	});
}

void add_watch_command(CLI::App &app, watch_options &options)
{
	CLI::App *const watch = app.add_subcommand("watch", "Print the text of the module in this machine's kernel as it arrives.");
	watch->footer(
		"The module gathers the text of each CPU and delivers it when 4095 bytes have come together; what is pending "
		"waits.\n"
		"--flush asks for it every second and at the end, through a parameter of that name of the datapath (the example\n"
		"datapath has one). Writing to net/fw/debug_pkt_set_buff never delivers: it throws pending text away.\n"
		"\n"
		"--grep shows whole packets: a capture call's text with its later checkpoints, from the first line that matches\n"
		"on. A message that begins with checkpoints continues the last packet of its CPU, which the next packet in the\n"
		"message names; in a message without any, the CPU is taken to be that of the message before.\n"
		"\n"
		"On a terminal layers are coloured, p or space pauses (what arrives is kept in the ring, drops are counted) and q\n"
		"ends. For a pager:  debug-pkt watch --color always | less -R\n"
		"Ends on Ctrl-C, too. The line at the end counts what arrived here, and what the module did meanwhile.\n"
		"\n"
		"Exit status: 0 done, 1 no text was shown, 2 usage error, 3 the interface or an output does not work.");
	watch->add_option("-i,--interface", options.interface, "the device that the messages come in on (default br0)")
		->type_name("IFACE");
	watch->add_option("--grep", options.grep, "show only packets with a line that matches (extended regular expression)")
		->type_name("REGEX");
	add_view_options(*watch, options.views, false);
	watch->add_flag("--flush", options.flush, "ask the datapath for pending text, every second and at the end");
}

void add_set_command(CLI::App &app, set_options &options)
{
	CLI::App *const set = app.add_subcommand("set", "Set what the module captures; prints the settings line.");
	set->footer(
		"Only the criteria that are given are active, and all of them must hit. What may surprise is said before the line\n"
		"is written; a filter that no packet can pass is refused. With --for the command waits, and brings the previous\n"
		"settings back at its end, also on Ctrl-C and when it is killed.\n"
		"For example, ten DNS packets of one client:  debug-pkt set --ip 10.0.0.1 --type dns --count 10\n"
		"\n"
		"Exit status: 0 done, 2 usage error or an impossible filter, 3 the module's entry or standard output cannot be\n"
		"written.");
	add_filter_options(*set, options.wanted);
	CLI::Option *const duration =
		set->add_option("--for", options.duration, "only for this time: 60s, 5m, 2h; then the previous settings come back")
			->type_name("TIME")
			->check([](const std::string &text) {
				return read_duration(text)
					       ? ""
					       : fmt::format("{} is no time: a number and s, m or h are expected, as in 60s", text);
			});
	set->add_flag("--print", options.print, "print the line, write nothing")->excludes(duration);
	add_sysctl_root(*set, options.sysctl_root);
}

void add_explain_command(CLI::App &app, std::string &line)
{
	CLI::App *const explain =
		app.add_subcommand("explain", "Say in words what a settings line does, and the command that sets it.");
	explain->footer("LINE is what is written to net/fw/debug_pkt_params, or what reading it gives. Quote it.\n"
			"Exit status: 0 done, 2 the line cannot be read.");
	explain->add_option("LINE", line, "a settings line")->required()->type_name("");
}

void add_show_command(CLI::App &app, std::string &sysctl_root)
{
	CLI::App *const show = app.add_subcommand("show", "Say in words what is set now, and the command that sets it.");
	show->footer(
		"The module shows neither the mode nor some bits: what debug-pkt has set itself is known from its state file,\n"
		"for everything else it says what is unknown.\n"
		"Exit status: 0 done, 2 the state file is damaged (the rest is shown), 3 the module's entry cannot be read.");
	add_sysctl_root(*show, sysctl_root);
}

void add_off_command(CLI::App &app, std::string &sysctl_root)
{
	CLI::App *const off = app.add_subcommand("off", "Switch capture off; the filter stays as it is.");
	off->footer("Exit status: 0 done, 3 the module's entry cannot be read or written.");
	add_sysctl_root(*off, sysctl_root);
}

void add_doctor_command(CLI::App &app, doctor_options &options)
{
	CLI::App *const doctor = app.add_subcommand("doctor", "Check what capturing needs, and say what to do about it.");
	doctor->footer("Each line starts with ok, note (works, but may not be meant) or missing.\n"
		       "Exit status: 0 nothing is missing, 3 something is.");
	add_sysctl_root(*doctor, options.sysctl_root);
	doctor->add_option("--sys-root", options.sys_root, "folder of sysfs (default /sys)")->type_name("FOLDER");
}

void add_bench_command(CLI::App &app, bench_options &options)
{
	CLI::App *const bench = app.add_subcommand("bench", "Measure what rendering and a datapath's call cost on this machine.");
	bench->footer(
		"One TCP segment with four options, from memory that the processor has at hand, through the module's code in this\n"
		"program: in a kernel the call is the same, the clock, the allocation of the context and the delivery are the\n"
		"kernel's. Peers print the same text, byte for byte (this is checked first), with values that nobody has to find.\n"
		"The rounds of all rows take turns, so that what else the machine does meets them all alike: compare the ratios,\n"
		"and look at the spread before believing a number.\n"
		"Exit status: 0 done, 2 usage error, 3 the texts differ or standard output cannot be written.");
	bench->add_option("--rounds", options.rounds, "rounds of each row, about 2 milliseconds each (default 41)")
		->type_name("N")
		->check(number_between(3, 10000));
}

void add_view_command(CLI::App &app, view_command_options &options)
{
	CLI::App *const view = app.add_subcommand("view", "Show rendered text that was kept in files in another form.");
	view->footer(
		"FILE holds what watch, read or live printed. Where one call's text ends is read from the text alone: a record\n"
		"whose start may be a packet's own words says so.\n"
		"Exit status: 0 done, 1 no text of a packet, 2 usage error or a file that cannot be read, 3 an output that cannot\n"
		"be written.");
	view->add_option("FILE", options.files, "kept text; - is standard input")->required()->type_name("");
	add_view_options(*view, options.views, false);
}

void add_commands(CLI::App &app, wanted_command &wanted)
{
	add_read_command(app, wanted.read);
	add_live_command(app, wanted.live);
	add_collect_command(app, wanted.collect);
	add_watch_command(app, wanted.watch);
	add_set_command(app, wanted.set);
	add_explain_command(app, wanted.line);
	add_show_command(app, wanted.sysctl_root);
	add_off_command(app, wanted.sysctl_root);
	add_doctor_command(app, wanted.doctor);
	add_bench_command(app, wanted.bench);
	add_view_command(app, wanted.view);
}

} // namespace

std::optional<int> read_command_line(int argc, char **argv, wanted_command &wanted)
{
	CLI::App app("Sets what the debug_pkt_dump module captures, and renders packets as it does.", "debug-pkt");
	app.set_version_flag("--version", "debug-pkt " DEBUG_PKT_VERSION);
	app.formatter(help_format());
	app.require_subcommand(1);
	add_commands(app, wanted);
	try {
		app.parse(argc, argv);
		if (std::count(wanted.read.files.begin(), wanted.read.files.end(), "-") > 1)
			throw CLI::ValidationError("FILE", "standard input can be read only once");
		if (wanted.read.mirror_out == "-")
			throw CLI::ValidationError("--mirror-out", "standard output carries the text");
	} catch (const CLI::Success &help) {
		return app.exit(help);
	} catch (const CLI::ParseError &wrong) {
		explain_usage_error(app, wrong);
		return exit_bad_input;
	}
	wanted.command = app.get_subcommands().front()->get_name();
	return std::nullopt;
}
