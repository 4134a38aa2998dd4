// The common frame of every top-level report: the standard properties (write-only, settable
// typed from C++ or by name with a Variant), the start-up sequence (company footer, side
// connection), "Date Printed: ", the party header's date and time, and side queries.
#pragma once

#include "galvix/error.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "db/connection.h"
#include "engine/report.h"
#include "galvix/variant.h"

namespace galvix::frame {

// A property name the report does not have, a value of the wrong kind, and failures of a run
// are reported with the report's name so the host can tell which report failed.
class ReportError : public galvix::Error {
 public:
  using galvix::Error::Error;
};

class FrameReport : public engine::Report {
 public:
  struct Property {
    std::string name;
    std::function<void(const Variant&)> set;
  };

  // `catalogueName` is filled in by the catalogue; designers pass their layout.
  explicit FrameReport(const engine::EmbeddedLayout& layout, bool commonProperties = true);
  // A layout built in code: two designers that differ only in their handlers share one file.
  explicit FrameReport(std::shared_ptr<const engine::Layout> layout, bool commonProperties = true);
  ~FrameReport() override;

  // ---- Properties ----
  void setTimeFormat(std::string f);
  void setDateFormat(std::string f) { dateFormat_ = std::move(f); }
  void setConnectionString(std::string s) { data().setConnectionString(std::move(s)); }
  virtual void setSQLWhere(std::string w) { sqlWhere_ = std::move(w); }
  virtual void setSQLOrderBy(std::string o) { sqlOrderBy_ = std::move(o); }
  void setTitle(std::string t);
  void setReportName(std::string t);
  void setCriteria(std::string t);
  void setEventID(std::int32_t id) { eventId_ = id; }

  // By name (case-insensitive), converting the value as the property's type requires.
  void set(std::string_view name, const Variant& value);
  std::vector<std::string> propertyNames() const;
  bool hasProperty(std::string_view name) const;

  const std::string& catalogueName() const { return catalogueName_; }
  // Tables the report makes for its own run (temporary, seen by no other run).
  virtual std::vector<std::string> workTables() const { return {}; }
  // How errors name the report: "Table Assignments By Table" (rptTableAssign).
  std::string displayName() const;
  void setCatalogueName(std::string n) { catalogueName_ = std::move(n); }

 protected:
  // Registers a report-specific property; it goes before `before` (or last when empty or absent).
  void addProperty(std::string name, std::function<void(const Variant&)> set,
                   std::string_view before = "EventID");

  // Report start, steps shared by the top-level reports: the company footer from the data
  // control's connection string, then (when `sideQueries`) the side connection and recordset.
  void startFrame(bool sideQueries);
  // Company footer only, from a given connection string (reports without a data control).
  void applyCompanyFooter(const std::string& connectionString);

  // "Date Printed: " + today's short date, on every formatting of `section`.
  void printDateOn(std::string_view section, std::string_view labelName = "lblDatePrinted");
  // txtTime with TimeFormat and txtDate with DateFormat (party header BeforePrint).
  void formatPartyDateTime(std::string_view timeField = "txtTime",
                           std::string_view dateField = "txtDate");

  // The side connection opened by startFrame(true).
  db::Connection& side();
  // Runs `sql` on the side connection and returns the first row's `column` as text, or "0"
  // when there is no row (or the value is Null). The recordset is closed before returning.
  std::string sideCount(const std::string& sql, std::string_view column);
  // Runs `sql` and hands the open recordset to `read`; always closes it.
  void sideQuery(const std::string& sql, const std::function<void(db::Recordset&)>& read);

  // The report's recordset has rows (it is not both before the first and past the last).
  bool hasRows();

  // A field's current value as a 32-bit integer (0 when Null or empty).
  std::int32_t fieldLong(std::string_view fieldName);

  const std::string& timeFormat() const { return timeFormat_; }
  const std::string& dateFormat() const { return dateFormat_; }
  const std::string& sqlWhere() const { return sqlWhere_; }
  const std::string& sqlOrderBy() const { return sqlOrderBy_; }
  std::int32_t eventId() const { return eventId_; }
  std::string& mutableSqlWhere() { return sqlWhere_; }

 private:
  std::vector<Property> properties_;
  std::string timeFormat_, dateFormat_, sqlWhere_, sqlOrderBy_;
  std::int32_t eventId_ = 0;
  std::string catalogueName_;
  std::shared_ptr<db::Connection> side_;
  std::unique_ptr<db::Recordset> sideRs_;
};

// Converters for property setters: the value as the property's type, with the platform's
// conversion rules (a type mismatch names the property).
std::string propString(const Variant& v);
bool propBool(const Variant& v);
std::int16_t propInteger(const Variant& v);
std::int32_t propLong(const Variant& v);

}  // namespace galvix::frame
