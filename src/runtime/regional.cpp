#include "runtime/regional.h"

#include <atomic>
#include <cstdlib>

#include "galvix/variant.h"

namespace galvix {
namespace {

const std::array<std::string, 12> kMonthsEn = {"January",   "February", "March",    "April",
                                               "May",       "June",     "July",     "August",
                                               "September", "October",  "November", "December"};
const std::array<std::string, 7> kDaysEn = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                            "Thursday", "Friday", "Saturday"};

RegionalSettings enUS() {
  RegionalSettings r;
  r.name = "en-US";
  r.months = kMonthsEn;
  for (int i = 0; i < 12; ++i) r.monthsShort[i] = kMonthsEn[i].substr(0, 3);
  r.days = kDaysEn;
  for (int i = 0; i < 7; ++i) r.daysShort[i] = kDaysEn[i].substr(0, 3);
  return r;
}

RegionalSettings enGB() {
  RegionalSettings r = enUS();
  r.name = "en-GB";
  r.currencySymbol = "£";
  r.currencyNegative = 1;
  r.shortDate = "dd/MM/yyyy";
  r.longDate = "dd MMMM yyyy";
  r.longTime = "HH:mm:ss";
  r.am = "am";
  r.pm = "pm";
  r.dateOrder = RegionalSettings::Order::DMY;
  r.firstDayOfWeek = 2;
  r.firstWeekOfYear = 2;
  return r;
}

RegionalSettings deDE() {
  RegionalSettings r;
  r.name = "de-DE";
  r.decimal = ",";
  r.thousands = ".";
  r.currencySymbol = "€";
  r.currencyPositive = 3;
  r.currencyNegative = 8;
  r.shortDate = "dd.MM.yyyy";
  r.longDate = "dddd, d. MMMM yyyy";
  r.mediumDate = "dd. MMM yy";
  r.longTime = "HH:mm:ss";
  r.am = "";
  r.pm = "";
  r.dateSeparator = ".";
  r.months = {"Januar", "Februar", "März",      "April",   "Mai",      "Juni",
              "Juli",   "August",  "September", "Oktober", "November", "Dezember"};
  r.monthsShort = {"Jan", "Feb", "Mär", "Apr", "Mai", "Jun",
                   "Jul", "Aug", "Sep", "Okt", "Nov", "Dez"};
  r.days = {"Sonntag", "Montag", "Dienstag", "Mittwoch", "Donnerstag", "Freitag", "Samstag"};
  r.daysShort = {"So", "Mo", "Di", "Mi", "Do", "Fr", "Sa"};
  r.dateOrder = RegionalSettings::Order::DMY;
  r.firstDayOfWeek = 2;
  r.firstWeekOfYear = 2;
  return r;
}

// The process's settings (set once, read from every thread) and a run's own on its thread.
std::atomic<const RegionalSettings*> g_current{nullptr};
thread_local const RegionalSettings* t_run = nullptr;

}  // namespace

const RegionalSettings& regionalByName(std::string_view name) {
  static const RegionalSettings us = enUS(), gb = enGB(), de = deDE();
  if (name == "en-US" || name == "en_US" || name == "C" || name == "") return us;
  if (name == "en-GB" || name == "en_GB") return gb;
  if (name == "de-DE" || name == "de_DE") return de;
  throw RuntimeError(kErrInvalidCall,
                     "unknown locale '" + std::string(name) + "' (known: en-US, en-GB, de-DE)");
}

const RegionalSettings& regional() {
  if (t_run) return *t_run;
  const RegionalSettings* cur = g_current.load(std::memory_order_acquire);
  if (!cur) {
    const char* env = std::getenv("GALVIX_LOCALE");
    cur = &regionalByName(env ? env : "en-US");
    g_current.store(cur, std::memory_order_release);
  }
  return *cur;
}

void setRegional(std::string_view name) {
  g_current.store(&regionalByName(name), std::memory_order_release);
}

RegionalScope::RegionalScope(std::string_view name) : previous_(t_run) {
  if (!name.empty()) t_run = &regionalByName(name);
}
RegionalScope::~RegionalScope() {
  t_run = previous_;
}

}  // namespace galvix
