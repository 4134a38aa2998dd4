// The property values of catalog objects, checked before libmdb's parser sees them: it moves on
// by the lengths they declare, so a length that does not fit is refused, and a value it stops
// reading of its own accord (or does not read) is let through.
#include "db/access/catalog_check.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "db/access/access_reader.h"

namespace galvix::db::access {
namespace {

constexpr std::size_t kPage = 4096;

std::string u16(unsigned v) {
  return {static_cast<char>(v & 0xff), static_cast<char>(v >> 8 & 0xff)};
}

std::string u32(std::uint32_t v) {
  return u16(v & 0xffff) + u16(v >> 16);
}

// A block: its length (header included), its type, its body.
std::string block(unsigned type, const std::string& body) {
  return u32(static_cast<std::uint32_t>(6 + body.size())) + u16(type) + body;
}

std::string names(std::initializer_list<std::string> list) {
  std::string out;
  for (const auto& n : list) out += u16(static_cast<unsigned>(n.size())) + n;
  return out;
}

// A property: length, a byte, type, name index, value size, value.
std::string property(unsigned type, unsigned name, const std::string& value) {
  return u16(static_cast<unsigned>(8 + value.size())) + '\0' + static_cast<char>(type) + u16(name) +
         u16(static_cast<unsigned>(value.size())) + value;
}

std::string properties(const std::string& records) {
  return u32(0) + u16(0) + records;  // a header without a name
}

bool accepted(const std::string& v) {
  try {
    checkPropertyValue(reinterpret_cast<const unsigned char*>(v.data()), v.size(), kPage);
    return true;
  } catch (const ReadError&) {
    return false;
  }
}

const std::string kHead("KKD\0", 4);
const std::string kNames = block(0x80, names({"D\0e\0s\0c\0", "R\0O\0"}));

TEST(PropertyValue, WellFormedValuesAndThoseTheParserLeavesPass) {
  std::string values = properties(property(10, 0, "a\0b\0") + property(1, 1, std::string(1, 1)) +
                                  property(4, 1, u32(7)));
  EXPECT_TRUE(accepted(kHead + kNames + block(0, values)));
  EXPECT_TRUE(accepted(std::string("MR2\0", 4) + kNames + block(1, values) + block(2, values)));
  EXPECT_TRUE(accepted(kHead));
  // Not KKD or MR2: libmdb does not parse it.
  EXPECT_TRUE(accepted(std::string("XYZ\0", 4) + u32(0)));
  EXPECT_TRUE(accepted(""));
  // Properties before any names are skipped by the parser; so are unknown block types.
  EXPECT_TRUE(accepted(kHead + block(0, properties(u32(0))) + block(0x33, "xyz") + kNames));
  // A name index past the list, or a value past the block, ends the parser's reading there.
  EXPECT_TRUE(accepted(kHead + kNames + block(0, properties(property(10, 2, "x") + u16(0)))));
  EXPECT_TRUE(accepted(kHead + kNames +
                       block(0, properties(u16(0) + '\0' + '\x0a' + u16(0) + u16(500) + "x"))));
}

TEST(PropertyValue, LengthsThatWouldLoopOrOverrunAreRefused) {
  // A block length of 0 (the parser would stay put), below its own header, or past the end.
  EXPECT_FALSE(accepted(kHead + u32(0) + u16(0x80)));
  EXPECT_FALSE(accepted(kHead + u32(3) + u16(0x80)));
  EXPECT_FALSE(accepted(kHead + u32(100) + u16(0x80) + "ab"));
  EXPECT_FALSE(accepted(kHead + kNames + "\x01\x00"));  // a block cut short
  // A name longer than its block.
  EXPECT_FALSE(accepted(kHead + block(0x80, u16(9) + "abc")));
  // A property of length 0 (the parser's inner loop would stay put) or shorter than its value.
  std::string zero = property(10, 0, "ab");
  zero[0] = zero[1] = 0;
  EXPECT_FALSE(accepted(kHead + kNames + block(0, properties(zero))));
  std::string shorter = property(10, 0, "abcd");
  shorter[0] = 9;
  EXPECT_FALSE(accepted(kHead + kNames + block(0, properties(shorter))));
  // A property cut short after its first bytes; a block header whose name runs out.
  EXPECT_FALSE(accepted(kHead + kNames + block(0, properties(std::string("\x08\x00\x00\x0a", 4)))));
  EXPECT_FALSE(accepted(kHead + kNames + block(0, u32(0) + u16(40) + "ab")));
  // A value smaller than its type, which the parser reads in full whatever the size says.
  EXPECT_FALSE(accepted(kHead + kNames + block(0, properties(property(7, 0, "1234")))));
  EXPECT_FALSE(accepted(kHead + kNames + block(0, properties(property(1, 0, "")))));
  // A currency value beyond the first page's worth of the block (read through the page buffer).
  std::string far =
      properties(property(10, 0, std::string(kPage, 'x')) + property(5, 1, "12345678"));
  EXPECT_FALSE(accepted(kHead + kNames + block(0, far)));
  EXPECT_TRUE(accepted(kHead + kNames + block(0, properties(property(5, 1, "12345678")))));
}

}  // namespace
}  // namespace galvix::db::access
