#include "db/access/catalog_check.h"

#include <cstdint>
#include <cstring>

#include "db/access/access_reader.h"

namespace galvix::db::access {

namespace {

unsigned le16(const unsigned char* p) {
  return static_cast<unsigned>(p[0]) | static_cast<unsigned>(p[1]) << 8;
}

std::uint32_t le32(const unsigned char* p) {
  return static_cast<std::uint32_t>(le16(p)) | static_cast<std::uint32_t>(le16(p + 2)) << 16;
}

[[noreturn]] void broken(const char* what) {
  throw ReadError(what);
}

// The bytes the parser reads for a value of each type whatever size the property declares.
std::size_t widthOf(unsigned type) {
  switch (type) {
    case 1:  // Yes/No
    case 2:  // Byte
      return 1;
    case 3:  // Integer
      return 2;
    case 4:   // Long
    case 6:   // Single
    case 18:  // complex-column id
      return 4;
    case 5:  // Currency
    case 7:  // Double
    case 8:  // Date/Time
      return 8;
    case 15:  // Replication ID
      return 16;
    default:
      return 0;  // text and binary are read by their declared size
  }
}

// A block of names: each a 16-bit length and that many bytes.
std::size_t countNames(const unsigned char* p, std::size_t n) {
  std::size_t count = 0;
  for (std::size_t pos = 0; pos < n; ++count) {
    if (n - pos < 2) broken("a property name is cut short");
    std::size_t len = le16(p + pos);
    if (len > n - pos - 2) broken("a property name runs past its block");
    pos += 2 + len;
  }
  return count;
}

// A block of properties: a header (its own name), then records of a 16-bit length, a type,
// the index of the property's name and the value's size, then the value.
void checkProperties(const unsigned char* p, std::size_t n, std::size_t names,
                     std::size_t pageSize) {
  if (n < 6) broken("a property block is cut short");
  std::size_t pos = 6 + le16(p + 4);
  if (pos > n) broken("a property block's name runs past its block");
  while (pos < n) {
    if (n - pos < 6) broken("a property is cut short");
    if (le16(p + pos + 4) >= names) return;  // the parser stops here
    if (n - pos < 8) broken("a property is cut short");
    std::size_t size = le16(p + pos + 6);
    if (size > n - pos - 8) return;  // the parser stops here too
    std::size_t len = le16(p + pos);
    if (len < 8 + size || len > n - pos) broken("a property's length does not fit its value");
    unsigned type = p[pos + 3];
    if (size < widthOf(type)) broken("a property is shorter than its type");
    if (type == 5 && pos + 8 + 8 > pageSize) broken("a currency property lies too far in");
    pos += len;
  }
}

}  // namespace

void checkPropertyValue(const unsigned char* p, std::size_t n, std::size_t pageSize) {
  if (n < 4 || (std::memcmp(p, "KKD", 4) != 0 && std::memcmp(p, "MR2", 4) != 0)) return;
  bool haveNames = false;
  std::size_t names = 0;
  for (std::size_t pos = 4; pos < n;) {
    if (n - pos < 6) broken("a property block is cut short");
    std::uint32_t len = le32(p + pos);
    if (len < 6 || len > n - pos) broken("a property block's length does not fit");
    unsigned type = le16(p + pos + 4);
    if (type == 0x80) {
      names = countNames(p + pos + 6, len - 6);
      haveNames = true;
    } else if (type <= 2 && haveNames) {
      checkProperties(p + pos + 6, len - 6, names, pageSize);
    }
    pos += len;
  }
}

}  // namespace galvix::db::access
