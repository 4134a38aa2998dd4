#include "engine/data_control.h"

#include "db/connection.h"
#include "engine/controls.h"
#include "engine/text_util.h"

namespace galvix::engine {

int Columns::find(std::string_view name) const {
  for (std::size_t i = 0; i < names.size(); ++i)
    if (iequals(names[i], name)) return static_cast<int>(i);
  return -1;
}

int RowView::fieldCount() const {
  return columns_ ? static_cast<int>(columns_->names.size()) : 0;
}

const std::string& RowView::fieldName(int ordinal) const {
  if (ordinal < 0 || ordinal >= fieldCount())
    throw EngineError("the recordset has no field at position " + std::to_string(ordinal));
  return columns_->names[static_cast<std::size_t>(ordinal)];
}

bool RowView::hasField(std::string_view name) const {
  return columns_ && columns_->find(name) >= 0;
}

Variant RowView::value(int ordinal) const {
  if (ordinal < 0 || ordinal >= fieldCount())
    throw EngineError("the recordset has no field at position " + std::to_string(ordinal));
  if (!row_)
    throw db::DbError(db::kErrBofEof,
                      "Either BOF or EOF is True, or the current record has been deleted.");
  return (*row_)[static_cast<std::size_t>(ordinal)];
}

Variant RowView::value(std::string_view name) const {
  int i = columns_ ? columns_->find(name) : -1;
  if (i < 0)
    throw db::DbError(0x800A0CC1,  // item not found in the collection
                      "Item cannot be found in the collection corresponding to the requested "
                      "name or ordinal: '" +
                          std::string(name) + "'");
  return value(i);
}

void RowView::setRow(RowPtr r, long index) {
  bof_ = false;
  eof_ = !r;
  row_ = std::move(r);
  index_ = row_ ? index : -1;
}

namespace {

class MemorySource : public RowSource {
 public:
  MemorySource(std::shared_ptr<const Columns> c, std::shared_ptr<std::vector<RowValues>> rows)
      : cols_(std::move(c)), rows_(std::move(rows)) {}
  std::shared_ptr<const Columns> columns() override { return cols_; }
  RowPtr next() override {
    if (pos_ >= rows_->size()) return nullptr;
    auto& r = (*rows_)[pos_++];
    if (r.size() != cols_->names.size())
      throw EngineError("in-memory row " + std::to_string(pos_ - 1) + " has " +
                        std::to_string(r.size()) + " values for " +
                        std::to_string(cols_->names.size()) + " columns");
    return std::make_shared<const RowValues>(r);
  }

 private:
  std::shared_ptr<const Columns> cols_;
  std::shared_ptr<std::vector<RowValues>> rows_;
  std::size_t pos_ = 0;
};

class QuerySource : public RowSource {
 public:
  QuerySource(std::shared_ptr<db::Connection> conn, const std::string& sql)
      : conn_(std::move(conn)) {
    rs_.open(sql, *conn_, db::CursorType::ForwardOnly);
    auto c = std::make_shared<Columns>();
    for (int i = 0; i < rs_.fieldCount(); ++i) c->names.push_back(rs_.fields(i).name());
    cols_ = std::move(c);
  }
  std::shared_ptr<const Columns> columns() override { return cols_; }
  RowPtr next() override {
    if (rs_.EOF_()) return nullptr;
    auto row = std::make_shared<RowValues>();
    const int n = rs_.fieldCount();
    row->reserve(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) row->push_back(rs_.fields(i).value());
    rs_.moveNext();
    return row;
  }

 private:
  std::shared_ptr<db::Connection> conn_;
  db::Recordset rs_;
  std::shared_ptr<const Columns> cols_;
};

}  // namespace

DataControl::DataControl() = default;
DataControl::~DataControl() = default;

void DataControl::setConnectionString(std::string s) {
  if (s != connectionString_ && connection_ && connection_->connectionString() != s)
    connection_.reset();
  connectionString_ = std::move(s);
}

void DataControl::setSource(std::string sql) {
  if (sql != source_ && !running_) close();
  source_ = std::move(sql);
}

void DataControl::setRows(std::vector<std::string> columns, std::vector<RowValues> rows) {
  if (!running_) close();
  auto c = std::make_shared<Columns>();
  c->names = std::move(columns);
  memColumns_ = std::move(c);
  memRows_ = std::make_shared<std::vector<RowValues>>(std::move(rows));
}

RowSource& DataControl::open() {
  if (source_impl_) return *source_impl_;
  if (memRows_) {
    source_impl_ = std::make_unique<MemorySource>(memColumns_, memRows_);
  } else {
    if (source_.empty())
      throw EngineError("data control '" + name_ + "' has no source (SQL) to read rows from");
    if (!connection_) {
      connection_ = std::make_shared<db::Connection>();
      connection_->open(connectionString_);
    }
    source_impl_ = std::make_unique<QuerySource>(connection_, source_);
  }
  view_.setColumns(source_impl_->columns());
  return *source_impl_;
}

void DataControl::close() {
  source_impl_.reset();
  peeked_.reset();
  peekedValid_ = false;
  view_ = RowView();
}

RowView& DataControl::recordset() {
  if (!running_ && !source_impl_ && (memRows_ || !source_.empty())) {
    // Opening shows the first row, as the data control does before the run fetches.
    open();
    peeked_ = source_impl_->next();
    peekedValid_ = true;
    if (peeked_)
      view_.setRow(peeked_, 0);
    else
      view_.setEmpty();
  }
  return view_;
}

}  // namespace galvix::engine
