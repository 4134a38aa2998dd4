#include "db/access/access_reader.h"

#include <iconv.h>
#include <mdbtools.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <set>

#include "db/access/catalog_check.h"

namespace galvix::db::access {

namespace {

constexpr unsigned kOffsetMask = 0x1fff;
// Row slot flags. A row that grew and moved keeps a slot holding only its new page and row
// (moved); the copy at the new place is flagged like a deleted row so a scan reads it once.
constexpr unsigned kDeletedRow = 0x8000;
constexpr unsigned kMovedRow = 0x4000;
constexpr std::size_t kMemoHeader = 12;

std::uint32_t le32(const unsigned char* p) {
  return static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
         static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}

std::uint64_t le64(const unsigned char* p) {
  return static_cast<std::uint64_t>(le32(p)) | static_cast<std::uint64_t>(le32(p + 4)) << 32;
}

ColumnKind kindOf(int type) {
  switch (type) {
    case MDB_BOOL:
      return ColumnKind::Boolean;
    case MDB_BYTE:
      return ColumnKind::Byte;
    case MDB_INT:
      return ColumnKind::Integer;
    case MDB_LONGINT:
      return ColumnKind::Long;
    case MDB_MONEY:
      return ColumnKind::Currency;
    case MDB_FLOAT:
      return ColumnKind::Single;
    case MDB_DOUBLE:
      return ColumnKind::Double;
    case MDB_DATETIME:
      return ColumnKind::DateTime;
    case MDB_BINARY:
      return ColumnKind::Binary;
    case MDB_TEXT:
      return ColumnKind::Text;
    case MDB_OLE:
      return ColumnKind::Ole;
    case MDB_MEMO:
      return ColumnKind::Memo;
    case MDB_REPID:
      return ColumnKind::ReplicationId;
    case MDB_NUMERIC:
      return ColumnKind::Decimal;
    case MDB_COMPLEX:
      return ColumnKind::Complex;
    default:
      return ColumnKind::Unknown;
  }
}

// Converts with iconv; a sequence the source cannot hold becomes U+FFFD.
std::string convert(iconv_t cd, const char* in, std::size_t n, std::size_t unit) {
  std::string out;
  out.resize(n * 2 + 16);
  char* src = const_cast<char*>(in);
  std::size_t left = n, used = 0;
  iconv(cd, nullptr, nullptr, nullptr, nullptr);
  while (left > 0) {
    char* dst = out.data() + used;
    std::size_t room = out.size() - used;
    std::size_t rc = iconv(cd, &src, &left, &dst, &room);
    used = out.size() - room;
    if (rc != static_cast<std::size_t>(-1)) break;
    if (errno == E2BIG) {
      out.resize(out.size() * 2);
      continue;
    }
    // EILSEQ or EINVAL: skip one unit of the source.
    std::size_t skip = left < unit ? left : unit;
    src += skip;
    left -= skip;
    out.resize(used);
    out += "\xEF\xBF\xBD";
    used = out.size();
    out.resize(used + left * 2 + 16);
  }
  out.resize(used);
  return out;
}

struct Iconv {
  iconv_t cd = reinterpret_cast<iconv_t>(-1);
  Iconv(const char* to, const char* from) : cd(iconv_open(to, from)) {}
  ~Iconv() {
    if (ok()) iconv_close(cd);
  }
  Iconv(const Iconv&) = delete;
  Iconv& operator=(const Iconv&) = delete;
  bool ok() const { return cd != reinterpret_cast<iconv_t>(-1); }
};

std::string guidText(const unsigned char* p) {
  static const char* hex = "0123456789ABCDEF";
  // The first three groups are stored little-endian, the last two as written.
  const int order[16] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
  std::string s = "{";
  for (int i = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) s += '-';
    s += hex[p[order[i]] >> 4];
    s += hex[p[order[i]] & 15];
  }
  return s + "}";
}

// libmdb keeps no page map for a table whose map row it cannot find, and its page scan
// (mdb_read_next_dpg) reads the missing map all the same.
void checkPageMap(const MdbTableDef* t, const std::string& name) {
  if (!t->usage_map || t->map_sz == 0)
    throw ReadError("the file is damaged (the page map of table '" + name + "' is missing)");
}

// libmdb's catalog reading (mdb_read_catalog) trusts the object table: it follows each object's
// property value through its chain of pages to the end and parses it by the lengths it declares,
// so a chain that comes back on itself or a zero length loops for ever, and a bad length reads
// out of bounds. Walk the same rows with the same calls first, bounded, and refuse a file whose
// catalog would do that.
void checkCatalog(MdbHandle* mdb, std::uintmax_t fileSize) {
  MdbCatalogEntry objects{};
  objects.mdb = mdb;
  objects.object_type = MDB_TABLE;
  objects.table_pg = 2;
  std::snprintf(objects.object_name, sizeof objects.object_name, "MSysObjects");
  MdbTableDef* t = mdb_read_table(&objects);
  if (!t) return;  // then libmdb cannot read the catalog either, and says so
  struct Free {
    MdbTableDef* t;
    ~Free() { mdb_free_tabledef(t); }
  } freeTable{t};
  if (!mdb_read_columns(t)) return;
  checkPageMap(t, "MSysObjects");

  // The columns libmdb binds, with the types it converts them by: another type (a memo's page
  // chain, binary bytes printed as text) would be read without bounds.
  struct Bound {
    const char* name;
    int type;
    std::vector<char> buf;
    int len = 0;
    MdbColumn* col = nullptr;
  };
  Bound bound[] = {{"Id", MDB_LONGINT, {}},
                   {"Name", MDB_TEXT, {}},
                   {"Type", MDB_INT, {}},
                   {"Flags", MDB_LONGINT, {}},
                   {"LvProp", MDB_OLE, {}}};
  for (auto& b : bound) {
    b.buf.assign(mdb->bind_size > 0 ? mdb->bind_size : MDB_BIND_SIZE, '\0');
    int i = mdb_bind_column_by_name(t, const_cast<gchar*>(b.name), b.buf.data(), &b.len);
    if (i < 1) return;  // libmdb cannot bind it either and reads no catalog
    b.col = static_cast<MdbColumn*>(g_ptr_array_index(t->columns, i - 1));
    if (b.col->col_type != b.type)
      throw ReadError("the file is damaged (its object table's column '" + std::string(b.name) +
                      "' has the wrong type)");
  }
  Bound& props = bound[4];
  const auto pageSize = static_cast<std::size_t>(mdb->fmt->pg_size);
  std::string value;
  mdb_rewind_table(t);
  while (mdb_fetch_row(t)) {
    if (props.len == 0) continue;
    const std::string name(bound[1].buf.data(), strnlen(bound[1].buf.data(), bound[1].buf.size()));
    auto damaged = [&](const std::string& why) {
      throw ReadError("the file is damaged (the properties of catalog object '" + name + "' " +
                      why + ")");
    };
    MdbColumn* col = props.col;
    if (col->cur_value_start < 0 || col->cur_value_len < 0 ||
        static_cast<std::size_t>(col->cur_value_start) + col->cur_value_len > pageSize)
      damaged("lie outside their page");
    // As mdb_ole_read_full does, bounded: a piece read twice is a loop. Each piece is at most a
    // page (the value checked above, or a row that mdb_find_row keeps within its page).
    char head[MDB_MEMO_OVERHEAD];
    std::memcpy(head, props.buf.data(), sizeof head);
    value.assign(props.buf.data(), mdb_ole_read(mdb, col, head, std::size_t{1} << 20));
    std::set<guint32> seen;
    for (;;) {
      guint32 piece = col->cur_blob_pg_row;
      std::size_t got = mdb_ole_read_next(mdb, col, head);
      if (got == 0) break;
      if (!seen.insert(piece).second) damaged("run in a loop of pages");
      if (got > props.buf.size() || value.size() + got > fileSize)
        damaged("run longer than the file");
      value.append(props.buf.data(), got);
    }
    try {
      checkPropertyValue(reinterpret_cast<const unsigned char*>(value.data()), value.size(),
                         pageSize);
    } catch (const ReadError& e) {
      damaged(std::string("are broken: ") + e.what());
    }
  }
}

}  // namespace

std::string decodeJet4Text(const unsigned char* p, std::size_t n) {
  static thread_local Iconv utf16("UTF-8", "UTF-16LE");
  std::string units;
  if (n >= 2 && p[0] == 0xff && p[1] == 0xfe) {
    // Compressed: one byte per character (high byte zero) until a 0 byte switches to two-byte
    // characters, and the next 0 back.
    bool compressed = true;
    units.reserve(n * 2);
    for (std::size_t i = 2; i < n;) {
      if (p[i] == 0) {
        compressed = !compressed;
        ++i;
      } else if (compressed) {
        units += static_cast<char>(p[i++]);
        units += '\0';
      } else if (i + 1 < n) {
        units += static_cast<char>(p[i]);
        units += static_cast<char>(p[i + 1]);
        i += 2;
      } else {
        break;
      }
    }
  } else {
    units.assign(reinterpret_cast<const char*>(p), n);
  }
  if (!utf16.ok()) throw ReadError("no UTF-16 converter is available");
  return convert(utf16.cd, units.data(), units.size(), 2);
}

double singleAsPrinted(float f) {
  char buf[64];
  auto r = std::to_chars(buf, buf + sizeof buf, f);
  *r.ptr = '\0';
  return std::strtod(buf, nullptr);
}

struct Reader::Impl {
  MdbHandle* mdb = nullptr;
  std::string path;
  std::size_t pageSize = 0;
  std::uintmax_t fileSize = 0;
  std::unique_ptr<Iconv> codePage;  // Jet 3 text

  ~Impl() {
    if (mdb) mdb_close(mdb);
  }

  std::string text(const unsigned char* p, std::size_t n) {
    if (mdb->f->jet_version != MDB_VER_JET3) return decodeJet4Text(p, n);
    return convert(codePage->cd, reinterpret_cast<const char*>(p), n, 1);
  }

  // A long value (memo or OLE): inline in the row, on one other page, or a chain of pages.
  std::string longValue(const unsigned char* field, std::size_t size) {
    if (size < kMemoHeader) return {};
    unsigned char head[kMemoHeader];
    std::memcpy(head, field, kMemoHeader);
    std::uint32_t word = le32(head);
    std::size_t length = word & 0x3fffffff;
    std::uint32_t pgRow = le32(head + 4);
    if (word & 0x80000000u) {
      std::size_t n = size - kMemoHeader;
      return std::string(reinterpret_cast<const char*>(field + kMemoHeader),
                         n < length ? n : length);
    }
    if (length > fileSize) throw ReadError("a long value claims more bytes than the file has");
    std::string out;
    void* buf = nullptr;
    int start = 0;
    std::size_t len = 0;
    if (word & 0x40000000u) {
      if (mdb_find_pg_row(mdb, static_cast<int>(pgRow), &buf, &start, &len) != 0)
        throw ReadError("a long value points at a missing page");
      checkSpan(start, len);
      out.assign(static_cast<const char*>(buf) + start, len < length ? len : length);
      return out;
    }
    if ((word & 0xff000000u) != 0) throw ReadError("a long value has an unknown form");
    // Chained pages: each piece starts with the page/row of the next; a loop cannot run past
    // the declared length.
    out.reserve(length);
    while (pgRow != 0 && out.size() < length) {
      if (mdb_find_pg_row(mdb, static_cast<int>(pgRow), &buf, &start, &len) != 0 || len < 4)
        throw ReadError("a long value's page chain is broken");
      checkSpan(start, len);
      const auto* piece = static_cast<const unsigned char*>(buf) + start;
      std::size_t take = len - 4;
      if (take > length - out.size()) take = length - out.size();
      out.append(reinterpret_cast<const char*>(piece + 4), take);
      pgRow = le32(piece);
    }
    return out;
  }

  void checkSpan(long start, std::size_t len) const {
    if (start < 0 || static_cast<std::size_t>(start) + len > pageSize)
      throw ReadError("a row lies outside its page");
  }

  Cell cell(const MdbColumn& col, const MdbField& f) {
    Cell c;
    if (col.col_type == MDB_BOOL) {
      // A Yes/No value lives in the null mask: set means Yes.
      c.kind = Cell::Kind::Integer;
      c.i = f.is_null ? 0 : -1;
      return c;
    }
    if (f.is_null) return c;
    if (f.start < 0 || f.siz < 0 || static_cast<std::size_t>(f.start) + f.siz > pageSize)
      throw ReadError("a value lies outside its page");
    const unsigned char* p = mdb->pg_buf + f.start;
    auto need = [&](int n) {
      if (f.siz < n) throw ReadError("a value is shorter than its type");
    };
    switch (col.col_type) {
      case MDB_BYTE:
        need(1);
        c.kind = Cell::Kind::Integer;
        c.i = p[0];
        break;
      case MDB_INT:
        need(2);
        c.kind = Cell::Kind::Integer;
        c.i = static_cast<std::int16_t>(p[0] | p[1] << 8);
        break;
      case MDB_LONGINT:
      case MDB_COMPLEX:
        need(4);
        c.kind = Cell::Kind::Integer;
        c.i = static_cast<std::int32_t>(le32(p));
        break;
      case MDB_MONEY: {
        need(8);
        // Ten-thousandths; dollars as REAL keep every amount below 2^53 units exact on the way
        // back (the reader rounds to the ten-thousandth).
        auto units = static_cast<std::int64_t>(le64(p));
        if (units % 10000 == 0) {
          c.kind = Cell::Kind::Integer;
          c.i = units / 10000;
        } else {
          c.kind = Cell::Kind::Real;
          c.d = static_cast<double>(units) / 10000.0;
        }
        break;
      }
      case MDB_FLOAT: {
        need(4);
        std::uint32_t bits = le32(p);
        float v;
        std::memcpy(&v, &bits, 4);
        c.kind = Cell::Kind::Real;
        c.d = singleAsPrinted(v);
        break;
      }
      case MDB_DOUBLE:
      case MDB_DATETIME: {
        need(8);
        std::uint64_t bits = le64(p);
        c.kind = Cell::Kind::Real;
        std::memcpy(&c.d, &bits, 8);
        break;
      }
      case MDB_TEXT:
        c.kind = Cell::Kind::Text;
        c.s = text(p, static_cast<std::size_t>(f.siz));
        break;
      case MDB_MEMO: {
        std::string raw = longValue(p, static_cast<std::size_t>(f.siz));
        c.kind = Cell::Kind::Text;
        c.s = text(reinterpret_cast<const unsigned char*>(raw.data()), raw.size());
        break;
      }
      case MDB_OLE:
        c.kind = Cell::Kind::Blob;
        c.s = longValue(p, static_cast<std::size_t>(f.siz));
        break;
      case MDB_BINARY:
        c.kind = Cell::Kind::Blob;
        c.s.assign(reinterpret_cast<const char*>(p), static_cast<std::size_t>(f.siz));
        break;
      case MDB_REPID:
        need(16);
        c.kind = Cell::Kind::Text;
        c.s = guidText(p);
        break;
      case MDB_NUMERIC: {
        need(17);
        char* s = mdb_numeric_to_string(mdb, f.start, col.col_scale, col.col_prec);
        c.kind = Cell::Kind::Real;
        c.d = std::strtod(s, nullptr);
        g_free(s);
        break;
      }
      default:
        break;  // a kind this reader does not know stays Null
    }
    return c;
  }
};

Reader::Reader(const std::string& path) : impl_(std::make_unique<Impl>()) {
  impl_->path = path;
  impl_->mdb = mdb_open(path.c_str(), MDB_NOFLAGS);
  if (!impl_->mdb) throw ReadError("libmdb cannot open it");
  MdbHandle* mdb = impl_->mdb;
  impl_->pageSize = static_cast<std::size_t>(mdb->fmt->pg_size);
  struct stat st {};
  if (fstat(fileno(mdb->f->stream), &st) == 0)
    impl_->fileSize = static_cast<std::uintmax_t>(st.st_size);
  if (mdb->f->jet_version == MDB_VER_JET3) {
    std::string cp = "CP" + std::to_string(mdb->f->code_page ? mdb->f->code_page : 1252);
    impl_->codePage = std::make_unique<Iconv>("UTF-8", cp.c_str());
    if (!impl_->codePage->ok()) impl_->codePage = std::make_unique<Iconv>("UTF-8", "CP1252");
    if (!impl_->codePage->ok()) throw ReadError("no converter for the file's code page");
  }
  checkCatalog(mdb, impl_->fileSize);
  GPtrArray* entries = mdb_read_catalog(mdb, MDB_ANY);
  if (!entries || entries->len == 0)
    throw ReadError("its catalog cannot be read (the file may be encrypted or damaged)");
  for (guint i = 0; i < entries->len; ++i) {
    auto* e = static_cast<MdbCatalogEntry*>(g_ptr_array_index(entries, i));
    CatalogItem item;
    item.name = e->object_name;
    item.id = static_cast<std::uint32_t>(e->table_pg);
    item.flags = e->flags;
    item.hidden = (e->flags & 0x80000002) != 0 || item.name.rfind("~", 0) == 0;
    switch (e->object_type) {
      case MDB_TABLE:
        item.kind = mdb_is_system_table(e) || item.name.rfind("MSys", 0) == 0
                        ? ObjectKind::SystemTable
                        : ObjectKind::Table;
        break;
      case MDB_QUERY:
        item.kind = ObjectKind::Query;
        break;
      case MDB_LINKED_TABLE:
        item.kind = ObjectKind::LinkedTable;
        break;
      default:
        item.kind = ObjectKind::Other;
    }
    catalog_.push_back(std::move(item));
  }
  bool haveObjects = false;
  for (const auto& c : catalog_) haveObjects |= c.name == "MSysObjects";
  if (!haveObjects)
    throw ReadError("its catalog has no object table (the file may be encrypted or damaged)");
}

Reader::~Reader() = default;

int Reader::version() const {
  return static_cast<int>(impl_->mdb->f->jet_version);
}

TableInfo Reader::readTable(const std::string& name,
                            const std::function<void(const TableInfo&)>& begin,
                            const std::function<void(const std::vector<Cell>&)>& row) {
  MdbHandle* mdb = impl_->mdb;
  MdbCatalogEntry* entry = nullptr;
  for (guint i = 0; i < mdb->catalog->len; ++i) {
    auto* e = static_cast<MdbCatalogEntry*>(g_ptr_array_index(mdb->catalog, i));
    if (e->object_type == MDB_TABLE && name == e->object_name) {
      entry = e;
      break;
    }
  }
  if (!entry) throw ReadError("it has no table '" + name + "'");
  MdbTableDef* t = mdb_read_table(entry);
  if (!t) throw ReadError("the definition of table '" + name + "' cannot be read");
  struct Free {
    MdbTableDef* t;
    ~Free() { mdb_free_tabledef(t); }
  } freeTable{t};
  if (!mdb_read_columns(t)) throw ReadError("the columns of table '" + name + "' cannot be read");
  checkPageMap(t, name);
  mdb_read_indices(t);

  TableInfo info;
  info.name = name;
  std::vector<const MdbColumn*> cols;
  for (guint i = 0; i < t->num_cols; ++i) {
    auto* col = static_cast<const MdbColumn*>(g_ptr_array_index(t->columns, i));
    cols.push_back(col);
    ColumnInfo ci;
    ci.name = col->name;
    ci.kind = kindOf(col->col_type);
    ci.size = col->col_size;
    ci.precision = col->col_prec;
    ci.scale = col->col_scale;
    info.columns.push_back(ci);
  }
  if (t->indices) {
    for (guint i = 0; i < t->indices->len; ++i) {
      auto* idx = static_cast<const MdbIndex*>(g_ptr_array_index(t->indices, i));
      if (idx->index_type == 2) continue;  // the far side of a relationship: not an index here
      IndexInfo ii;
      ii.name = idx->name;
      ii.primary = idx->index_type == 1;
      ii.unique = (idx->flags & MDB_IDX_UNIQUE) != 0;
      for (unsigned k = 0; k < idx->num_keys && k < MDB_MAX_IDX_COLS; ++k) {
        int c = idx->key_col_num[k] - 1;
        if (c >= 0 && c < static_cast<int>(t->num_cols)) ii.columns.push_back(c);
      }
      if (!ii.columns.empty()) info.indexes.push_back(ii);
    }
  }

  if (begin) begin(info);
  std::vector<MdbField> fields(t->num_cols);
  std::vector<Cell> cells(t->num_cols);
  auto crack = [&](int start, std::size_t size) {
    if (mdb_crack_row(t, start, size, fields.data()) < 0) return false;
    for (guint i = 0; i < t->num_cols; ++i) {
      int c = fields[i].colnum;
      if (c < 0 || c >= static_cast<int>(t->num_cols)) throw ReadError("a row names no column");
      cells[static_cast<std::size_t>(c)] =
          impl_->cell(*cols[static_cast<std::size_t>(c)], fields[i]);
    }
    return true;
  };
  const auto pageCount = impl_->fileSize / impl_->pageSize;
  std::vector<unsigned char> here(impl_->pageSize);
  std::size_t pagesRead = 0;
  mdb_rewind_table(t);
  while (mdb_read_next_dpg(t)) {
    if (++pagesRead > pageCount)
      throw ReadError("table '" + name + "' has more pages than the file");
    int rows = mdb_get_int16(mdb->pg_buf, mdb->fmt->row_count_offset);
    if (rows < 0 || rows > 1000) throw ReadError("a page of table '" + name + "' is damaged");
    for (int r = 0; r < rows; ++r) {
      int start = 0;
      std::size_t size = 0;
      if (mdb_find_row(mdb, r, &start, &size) != 0 || size == 0) continue;
      unsigned flags = static_cast<unsigned>(start);
      if (flags & kDeletedRow) continue;
      start &= static_cast<int>(kOffsetMask);
      if (flags & kMovedRow) {
        if (size < 4) continue;
        std::uint32_t pgRow = le32(mdb->pg_buf + start);
        void* buf = nullptr;
        int at = 0;
        std::size_t len = 0;
        if (mdb_find_pg_row(mdb, static_cast<int>(pgRow), &buf, &at, &len) != 0 || len == 0)
          continue;
        impl_->checkSpan(at, len);
        // Crack the row where it now lives, then put this page back (long values read on the
        // way reuse the spare buffer, and libmdb would not read the current page again).
        std::memcpy(here.data(), mdb->pg_buf, impl_->pageSize);
        mdb_swap_pgbuf(mdb);
        bool ok = crack(at, len);
        std::memcpy(mdb->pg_buf, here.data(), impl_->pageSize);
        if (ok) row(cells);
        continue;
      }
      impl_->checkSpan(start, size);
      if (crack(start, size)) row(cells);
    }
  }
  return info;
}

}  // namespace galvix::db::access
