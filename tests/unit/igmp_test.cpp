// SPDX-License-Identifier: GPL-2.0-only
#include "decode/net/net.h"
#include "tests/unit/support.h"

namespace test {

using igmp_test = core_test;

static uint32_t igmp(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len)
{
	return debug_pkt_igmp(ctx, data, len, 0);
}

// The decoder with another length than the packet's.
static decoder igmp_of(uint32_t length)
{
	return [length](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t) { return debug_pkt_igmp(ctx, data, length, 0); };
}

static bytes v3_query(uint32_t source_count)
{
	return hex("11 64 1234") + ip4("239.1.1.1") + hex("02 7d") + big16(source_count);
}

static bytes v3_report(uint32_t group_count)
{
	return hex("22 00 1234 0000") + big16(group_count);
}

static bytes record(uint8_t type, uint8_t auxiliary, uint32_t source_count, const char *group)
{
	return bytes{type, auxiliary} + big16(source_count) + ip4(group);
}

TEST_F(igmp_test, v2_report)
{
	const bytes content = hex("16 00 0000") + ip4("239.1.1.1");
	debug_pkt_ip = in_aton("239.1.1.1");
	const result report = decode(igmp, content, 0, 0x0800);
	EXPECT_EQ(report.consumed, 8u);
	EXPECT_EQ(report.type, 0x20u);
	EXPECT_EQ(report.match, 0u) << "groups are not compared with the filter address";
	EXPECT_EQ(report.proto, 0x0800u);
	check_decoder(igmp, content, "    #igmp: type v2-report(22) group 239.1.1.1\n");
}

TEST_F(igmp_test, every_type_of_one_line)
{
	for (uint32_t type = 0; type < 256; ++type) {
		if (type == 0x22)
			continue;
		SCOPED_TRACE(type);
		const std::string number = std::to_string(type);
		const std::string name = type == 0x11   ? "query(17)"
					 : type == 0x12 ? "v1-report(18)"
					 : type == 0x16 ? "v2-report(22)"
					 : type == 0x17 ? "host-leave(23)"
							: "other(" + number + ")";
		const result got = decode(igmp, bytes{static_cast<uint8_t>(type)} + hex("ff ffff") + ip4("224.0.0.255"));
		EXPECT_EQ(got.text, "    #igmp: type " + name + " group 224.0.0.255\n");
		EXPECT_EQ(got.consumed, 8u);
		EXPECT_EQ(got.type, 0x20u);
		EXPECT_EQ(got.match, 0u);
	}
}

// Only a query becomes another message by its length.
TEST_F(igmp_test, long_message_of_one_line)
{
	const bytes rest = hex("00 0000") + ip4("239.1.1.1") + hex("0000 0001 0a000001");
	EXPECT_EQ(decode(igmp, hex("12") + rest).text, "    #igmp: type v1-report(18) group 239.1.1.1\n");
	EXPECT_EQ(decode(igmp, hex("17") + rest).text, "    #igmp: type host-leave(23) group 239.1.1.1\n");
	EXPECT_EQ(decode(igmp, hex("17") + rest).consumed, 8u);
}

TEST_F(igmp_test, query_of_8_to_12_bytes)
{
	const bytes query = v3_query(0);
	for (uint32_t size = 8; size <= 11; ++size) {
		const result got = decode(igmp, bytes(query.begin(), query.begin() + size));
		EXPECT_EQ(got.text, "    #igmp: type query(17) group 239.1.1.1\n");
		EXPECT_EQ(got.consumed, 8u);
	}
	const result got = decode(igmp, query);
	EXPECT_EQ(got.consumed, 12u);
	EXPECT_EQ(got.type, 0x20u);
	check_decoder(igmp, query, "    #igmp: type v3-query code 100 nsrc 0 group 239.1.1.1\n");
}

TEST_F(igmp_test, v3_query_with_fewer_sources_than_it_counts)
{
	const bytes content = v3_query(3) + ip4("10.0.0.1") + ip4("255.254.253.252");
	EXPECT_EQ(decode(igmp, content).consumed, 20u);
	check_decoder(igmp, content,
		      "    #igmp: type v3-query code 100 nsrc 3 group 239.1.1.1\n"
		      "      #v3-query: source 10.0.0.1\n"
		      "                 source 255.254.253.252\n");
}

TEST_F(igmp_test, v3_query_with_more_bytes_than_it_counts)
{
	const result one = decode(igmp, v3_query(1) + ip4("10.0.0.1") + ip4("10.0.0.2"));
	EXPECT_EQ(one.consumed, 16u);
	EXPECT_EQ(one.text, "    #igmp: type v3-query code 100 nsrc 1 group 239.1.1.1\n"
			    "      #v3-query: source 10.0.0.1\n");
	const result none = decode(igmp, v3_query(0) + ip4("10.0.0.1"));
	EXPECT_EQ(none.consumed, 12u);
	EXPECT_EQ(none.text, "    #igmp: type v3-query code 100 nsrc 0 group 239.1.1.1\n");
}

TEST_F(igmp_test, v3_query_that_ends_behind_its_header)
{
	const result got = decode(igmp, v3_query(65535));
	EXPECT_EQ(got.consumed, 12u);
	EXPECT_EQ(got.text, "    #igmp: type v3-query code 100 nsrc 65535 group 239.1.1.1\n");
}

// An address is shown when its first byte is there.
TEST_F(igmp_test, v3_query_cut_inside_a_source)
{
	const result got = decode(igmp, v3_query(2) + ip4("10.0.0.1") + hex("0b"));
	EXPECT_EQ(got.consumed, 20u);
	EXPECT_EQ(got.text, "    #igmp: type v3-query code 100 nsrc 2 group 239.1.1.1\n"
			    "      #v3-query: source 10.0.0.1\n"
			    "                 source 11.0.0.0\n");
	const result in_place = decode(igmp_of(13), v3_query(2) + ip4("10.0.0.1") + ip4("10.0.0.2"));
	EXPECT_EQ(in_place.consumed, 16u);
	EXPECT_EQ(in_place.text, "    #igmp: type v3-query code 100 nsrc 2 group 239.1.1.1\n"
				 "      #v3-query: source 10.0.0.1\n");
}

TEST_F(igmp_test, v3_report_without_records)
{
	for (const bytes &content : {v3_report(0), v3_report(0) + record(1, 0, 0, "239.1.1.1")}) {
		const result got = decode(igmp, content);
		EXPECT_EQ(got.consumed, 8u);
		EXPECT_EQ(got.type, 0x20u);
		EXPECT_EQ(got.text, "    #igmp: type v3-report ngrp 0\n");
	}
	const result counted = decode(igmp, v3_report(65535));
	EXPECT_EQ(counted.consumed, 8u);
	EXPECT_EQ(counted.text, "    #igmp: type v3-report ngrp 65535\n");
	check_decoder(igmp, v3_report(2), "    #igmp: type v3-report ngrp 2\n");
}

TEST_F(igmp_test, v3_report_with_two_records)
{
	const bytes content =
		v3_report(2) + record(1, 0, 1, "239.1.1.1") + ip4("10.0.0.1") + record(255, 0, 1, "239.1.1.2") + ip4("10.0.0.2");
	const result got = decode(igmp, content, 0, 0x0800);
	EXPECT_EQ(got.consumed, 32u);
	EXPECT_EQ(got.match, 0u);
	EXPECT_EQ(got.proto, 0x0800u);
	check_decoder(igmp, content,
		      "    #igmp: type v3-report ngrp 2\n"
		      "      #v3-report: record type 1 nsrc 1 group 239.1.1.1\n"
		      "                       source 10.0.0.1\n"
		      "                  record type 255 nsrc 1 group 239.1.1.2\n"
		      "                       source 10.0.0.2\n");
}

TEST_F(igmp_test, v3_report_auxiliary_data_is_counted_in_bytes)
{
	const bytes content = v3_report(3) + record(4, 4, 1, "239.1.1.1") + ip4("10.0.0.1") + hex("aabbccdd") +
			      record(3, 1, 0, "239.1.1.2") + hex("ee") + record(6, 0, 2, "239.1.1.3") + ip4("10.0.0.2") +
			      ip4("10.0.0.3");
	EXPECT_EQ(decode(igmp, content).consumed, 8u + 16 + 9 + 16);
	check_decoder(igmp, content,
		      "    #igmp: type v3-report ngrp 3\n"
		      "      #v3-report: record type 4 nsrc 1 group 239.1.1.1\n"
		      "                       source 10.0.0.1\n"
		      "                  record type 3 nsrc 0 group 239.1.1.2\n"
		      "                  record type 6 nsrc 2 group 239.1.1.3\n"
		      "                       source 10.0.0.2\n"
		      "                       source 10.0.0.3\n");
}

TEST_F(igmp_test, v3_report_with_auxiliary_data_past_its_end)
{
	const result got = decode(igmp, v3_report(2) + record(2, 255, 0, "239.1.1.1") + hex("0000"));
	EXPECT_EQ(got.consumed, 8u + 8 + 255);
	EXPECT_EQ(got.text, "    #igmp: type v3-report ngrp 2\n"
			    "      #v3-report: record type 2 nsrc 0 group 239.1.1.1\n");
}

TEST_F(igmp_test, v3_report_with_fewer_sources_than_it_counts)
{
	const result got = decode(igmp, v3_report(2) + record(1, 3, 65535, "239.1.1.1") + ip4("10.0.0.1") + hex("0a00"));
	EXPECT_EQ(got.consumed, 8u + 8 + 8 + 3);
	EXPECT_EQ(got.text, "    #igmp: type v3-report ngrp 2\n"
			    "      #v3-report: record type 1 nsrc 65535 group 239.1.1.1\n"
			    "                       source 10.0.0.1\n"
			    "                       source 10.0.0.0\n");
	const result none = decode(igmp, v3_report(1) + record(1, 0, 1, "239.1.1.1"));
	EXPECT_EQ(none.consumed, 16u);
	EXPECT_EQ(none.text, "    #igmp: type v3-report ngrp 1\n"
			     "      #v3-report: record type 1 nsrc 1 group 239.1.1.1\n");
}

TEST_F(igmp_test, v3_report_with_more_records_than_it_counts)
{
	const result got = decode(igmp, v3_report(1) + record(1, 0, 0, "239.1.1.1") + record(1, 0, 0, "239.1.1.2"));
	EXPECT_EQ(got.consumed, 16u);
	EXPECT_EQ(got.text, "    #igmp: type v3-report ngrp 1\n"
			    "      #v3-report: record type 1 nsrc 0 group 239.1.1.1\n");
}

TEST_F(igmp_test, v3_report_cut_inside_a_record)
{
	const result got = decode(igmp, v3_report(2) + record(1, 0, 0, "239.1.1.1") + hex("05"));
	EXPECT_EQ(got.consumed, 24u);
	EXPECT_EQ(got.text, "    #igmp: type v3-report ngrp 2\n"
			    "      #v3-report: record type 1 nsrc 0 group 239.1.1.1\n"
			    "                  record type 5 nsrc 0 group 0.0.0.0\n");
}

// A length that has wrapped is an end in front of the data: a query of version 3, and no entries.
TEST_F(igmp_test, length_that_wraps)
{
	for (uint32_t length : {0x80000000u, 0xfffffff8u, 0xffffffffu}) {
		const result query = decode(igmp_of(length), v3_query(1) + ip4("10.0.0.1"));
		EXPECT_EQ(query.consumed, 12u);
		EXPECT_EQ(query.text, "    #igmp: type v3-query code 100 nsrc 1 group 239.1.1.1\n");
		const result report = decode(igmp_of(length), v3_report(1) + record(1, 0, 0, "239.1.1.1"));
		EXPECT_EQ(report.consumed, 8u);
		EXPECT_EQ(report.text, "    #igmp: type v3-report ngrp 1\n");
	}
	const result longest = decode(igmp_of(0x7fffffff), v3_query(9) + ip4("10.0.0.1"));
	EXPECT_EQ(longest.consumed, 16u) << "the packet's end ends the list";
}

TEST_F(igmp_test, cut_inside_the_header)
{
	EXPECT_EQ(decode(igmp, {}).text, "    #igmp: type other(0) group 0.0.0.0\n");
	EXPECT_EQ(decode(igmp, {}).consumed, 8u);
	EXPECT_EQ(decode(igmp, hex("11")).text, "    #igmp: type query(17) group 0.0.0.0\n");
	EXPECT_EQ(decode(igmp, hex("22 00 0000 0000 01")).text, "    #igmp: type v3-report ngrp 256\n");
	EXPECT_EQ(decode(igmp, hex("22 00 0000 0000 01")).consumed, 8u);
}

TEST_F(igmp_test, longest_numbers_in_every_line)
{
	const bytes all_ones(20, 0xff);
	check_decoder(igmp, hex("11") + all_ones,
		      "    #igmp: type v3-query code 255 nsrc 65535 group 255.255.255.255\n"
		      "      #v3-query: source 255.255.255.255\n"
		      "                 source 255.255.255.255\n"
		      "                 source 255.0.0.0\n");
}

TEST_F(igmp_test, later_fragment)
{
	for (uint32_t start : {0u, 100u, 4095u}) {
		const result later = decode(
			[](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len) { return debug_pkt_igmp(ctx, data, len, 1); },
			v3_query(1) + ip4("10.0.0.1"), start, 0x0800);
		EXPECT_EQ(later.consumed, 0u);
		EXPECT_EQ(later.type, 0x20u);
		EXPECT_EQ(later.match, 0u);
		EXPECT_EQ(later.proto, 0x0800u);
		EXPECT_EQ(later.len, start);
	}
}

// The walk goes on with the text full: 16,000 sources in one packet count, whatever is shown of them.
TEST_F(igmp_test, more_sources_than_the_text_holds)
{
	bytes content = v3_query(16000);
	for (uint32_t i = 0; i < 16000; ++i)
		content.insert(content.end(), {10, 0, 0, 1});
	const result got = decode(igmp, content);
	EXPECT_EQ(got.consumed, 12u + 64000);
	EXPECT_EQ(got.len, 4095u);
	EXPECT_EQ(got.text.back(), '\0');
	EXPECT_EQ(decode(igmp, content, 4095).consumed, 12u + 64000);
}

} // namespace test
