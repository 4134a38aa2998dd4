// Event information: one event's primary and secondary client contacts, status and budget, a
// block per sub-event party, and the event's journal when it is to be printed.
#include "engine/layout_embed.h"
#include "frame/catalogue.h"
#include "frame/frame_report.h"
#include "reports/events/srptJournal.h"
#include "runtime/format.h"

GALVIX_USE_LAYOUT(rptEventInfo);

namespace galvix::reports {
namespace {

// Name line, then the address block, composed by the statement.
const char* const kContactColumns =
    "IIf(Trim(GuestNames.GTitle+'')='','',GuestNames.GTitle+' ')+ "
    "IIf(Trim(GuestNames.GFName+'')='','',GuestNames.GFName+' ') + "
    "IIf(Trim(GuestNames.GLName+'')='','',GuestNames.GLName+' ') + "
    "IIf(Trim(GuestNames.GSuffix & '')='',Chr(13),GuestNames.GSuffix + Chr(13)) + "
    "IIf(Trim(GroupIDs.Address & '')='','',GroupIDs.Address + Chr(13)) + "
    "IIf(Trim(GroupIDs.City & '')='','',GroupIDs.City+', ') + "
    "IIf(Trim(GroupIDs.State & '')='','',GroupIDs.State+'  ') + "
    "IIf(Trim(GroupIDs.PostalCode & '')='','',GroupIDs.PostalCode) + "
    "IIf(Trim(GroupIDs.Country & '')='','',Chr(13)+GroupIDs.Country) AS Contact, "
    "GroupIDs.HPhone, GroupIDs.WPhone, GroupIDs.MPhone, GroupIDs.FPhone, GroupIDs.[E-Mail], "
    "GroupIDs.Notes FROM ";

std::string shown(const Variant& v) {
  return v.isNull() || v.isEmpty() ? std::string() : v.toString();
}

class RptEventInfo : public frame::FrameReport {
 public:
  RptEventInfo() : FrameReport(engine::layouts::rptEventInfo()) {
    addProperty("PrintSubEvents",
                [this](const Variant& v) { printSubEvents_ = frame::propBool(v); });
    addProperty("PrintJournal", [this](const Variant& v) { printJournal_ = frame::propBool(v); });
    onFormat("grpHContacts", [this] { formatContacts(); });
    onFormat("grpFContacts", [this] { formatJournal(); });
    printDateOn("PageFooter");
  }

  static std::string primarySql(std::int32_t eventId) {
    return std::string("SELECT EventStatuses.Status, Events.Budget, Events.PrintJournal, ") +
           kContactColumns +
           "EventStatuses INNER JOIN (Events INNER JOIN (GroupIDs INNER JOIN GuestNames ON "
           "GroupIDs.GroupID = GuestNames.GroupID) ON Events.EventID = GroupIDs.EventID) ON "
           "EventStatuses.EventStatusID = Events.EventStatusID WHERE GroupIDs.ContactNumber =1 "
           "AND Events.EventID = " +
           std::to_string(eventId);
  }
  static std::string secondarySql(std::int32_t eventId) {
    return std::string("SELECT ") + kContactColumns +
           "GroupIDs INNER JOIN GuestNames ON GroupIDs.GroupID = GuestNames.GroupID WHERE "
           "GroupIDs.ContactNumber =2 AND GroupIDs.EventID = " +
           std::to_string(eventId);
  }

  void onReportStart() override {
    startFrame(true);
    data().setSource(
        "SELECT SubEvents.SubEventName, Parties.Date, Parties.Time, IIF(Trim(Parties.Address & "
        "'') = '', '',Parties.Address + chr(13)) + IIF(Trim(Parties.City & '') = '', "
        "'',Parties.City + ', ') + IIF(Trim(Parties.State & '') = '', '',Parties.State + '  ') + "
        "IIF(Trim(Parties.PostalCode & '') = '', '',Parties.PostalCode) + "
        "IIF(Trim(Parties.Country & '') = '', '', chr(13) + Parties.Country) as Address, "
        "Parties.Theme, Parties.EstGuests, Parties.Style, Parties.Colors, Parties.FoodService, "
        "Parties.Notes FROM Events INNER JOIN (SubEvents INNER JOIN Parties ON "
        "SubEvents.SubEventID = Parties.SubEventID) ON Events.EventID = Parties.EventID WHERE "
        "Parties.EventID = " +
        std::to_string(eventId()));
  }

 private:
  void fillContact(db::Recordset& rs, const char* n) {
    const std::string i = n;
    field("txtContact" + i).setText(shown(rs.value("Contact")));
    field("txtHPhone" + i).setText(shown(rs.value("HPhone")));
    field("txtWPhone" + i).setText(shown(rs.value("WPhone")));
    field("txtMobile" + i).setText(shown(rs.value("MPhone")));
    field("txtFax" + i).setText(shown(rs.value("FPhone")));
    field("txtEMail" + i).setText(shown(rs.value("E-Mail")));
    field("txtNotes" + i).setText(shown(rs.value("Notes")));
  }

  void formatContacts() {
    sideQuery(primarySql(eventId()), [&](db::Recordset& rs) {
      if (rs.EOF_()) return;
      printJournal_ = rs.value("PrintJournal").toBool();
      field("txtEventStatus").setText(shown(rs.value("Status")));
      const Variant budget = rs.value("Budget");
      field("txtBudget").setText(budget.isNull() ? std::string() : Format(budget, "Currency"));
      fillContact(rs, "1");
    });
    sideQuery(secondarySql(eventId()), [&](db::Recordset& rs) {
      if (!rs.EOF_()) fillContact(rs, "2");
    });
  }

  void formatJournal() {
    if (printJournal_) {
      auto journal = std::make_shared<SrptJournal>();
      subReport("srptJournal").setReport(journal);
      journal->setConnectionString(data().connectionString());
      journal->setEventID(eventId());
      journal->setSQLOrderBy(sqlOrderBy());
    } else {
      auto& band = section("grpFContacts");
      band.setVisible(false);
      band.setHeight(0);
    }
  }

  bool printSubEvents_ = false;  // kept for the host; the party blocks always print
  bool printJournal_ = false;
};

const frame::DesignerRegistration reg("rptEventInfo",
                                      [] { return std::make_unique<RptEventInfo>(); });

}  // namespace
}  // namespace galvix::reports
