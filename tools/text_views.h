// SPDX-License-Identifier: GPL-2.0-only
// Other forms of the rendered text, on standard output and in files, for every command that has such text.
#pragma once

#include "tools/capture_file.h"
#include "tools/frame_file.h"
#include "tools/journey_view.h"
#include "tools/summary_view.h"
#include "tools/text_output.h"
#include "tools/view_options.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

// A frame that is rendered, with its file or interface.
viewed_frame frame_of(const captured_packet &packet, std::string_view source);

class text_views {
public:
	// Standard output's text goes to `output`, which the caller flushes. Once stop is readable, readers are not waited for.
	text_views(const view_options &wanted, text_output &output, int stop)
	    : options(wanted), text(output), frames(stop), stop_descriptor(stop)
	{
	}

	// Each of these is false, and error() says why, when a file cannot be written.
	bool open();
	// The texts until end_frame() belong to this frame, which stays valid until then.
	void begin_frame(const viewed_frame &frame);
	bool end_frame();
	// One call's text.
	void take_text(std::string_view content);
	// What one message carries: the texts of several calls, all of one CPU.
	void take_message(std::string_view content);
	// The texts of several calls from a place that kept them, one behind the other.
	void take_kept(text_splitter &texts, std::string_view source);
	// Writes what can be written while the capture goes on.
	bool flush();
	bool finish();
	const std::string &error() const { return reason; }
	// Whether that is because nobody reads the pcapng file any more that goes to standard output, or not before the end.
	bool reader_is_gone() const;
	uint64_t packet_count() const { return packets; }
	uint64_t text_count() const { return text_total; }

private:
	void show(text_record &record);
	void set_packet(text_record &record);
	void fail(const std::string &path, const std::string &why);
	bool write_graph();

	const view_options &options;
	text_output &text;
	journey_view journey;
	summary_view summary;
	frame_file frames;
	int stop_descriptor, graph_file = -1;
	std::string comment;
	std::optional<viewed_frame> frame;
	uint64_t packets = 0, text_total = 0;
	std::optional<int64_t> kept_cpu;         // of the last capture that was kept
	std::map<int64_t, uint64_t> last_packet; // by CPU
	std::string reason;
};
