#include "reports/events/srptClientContact.h"

#include "db/connection.h"
#include "engine/layout_embed.h"
#include "reports/common/contact_text.h"
#include "reports/common/picture_file.h"

GALVIX_USE_LAYOUT(srptClientContact);
GALVIX_USE_LAYOUT(srptClientContactWithPic);

namespace galvix::reports {
namespace {

const char* const kContactName =
    "SELECT IIf(Trim(GuestNames.GTitle+'')='','',GuestNames.GTitle+' ')+ "
    "IIf(Trim(GuestNames.GFName+'')='','',GuestNames.GFName+' ') + "
    "IIf(Trim(GuestNames.GLName+'')='','',GuestNames.GLName+' ') + "
    "IIf(Trim(GuestNames.GSuffix & '')='','',GuestNames.GSuffix ) AS Contact, ";
const char* const kNumbers =
    "GroupIDs.HPhone, GroupIDs.WPhone, GroupIDs.MPhone, GroupIDs.FPhone, GroupIDs.[E-Mail] ";

std::string displayed(const Variant& v) {
  return v.isNull() || v.isEmpty() ? std::string() : v.toString();
}

// Phone numbers with their prefixes, each ending a line, then the e-mail on the last line.
std::string numbersBlock(db::Recordset& rs) {
  std::string out;
  for (const auto& [column, prefix] :
       {std::pair{"HPhone", "(H) "}, {"WPhone", "(W) "}, {"MPhone", "(M) "}, {"FPhone", "(F) "}}) {
    const Variant v = rs.value(column);
    if (present(v)) out += prefix + v.toString() + "\r\n";
  }
  out += displayed(rs.value("E-Mail"));
  return out;
}

}  // namespace

SrptClientContact::SrptClientContact(bool withPictures)
    : engine::Report(withPictures ? engine::layouts::srptClientContactWithPic()
                                  : engine::layouts::srptClientContact()),
      withPictures_(withPictures) {}

std::string SrptClientContact::primarySql(std::int32_t eventId, bool withPictures) {
  return std::string(kContactName) + (withPictures ? "GuestNames.ContactPic, " : "") + kNumbers +
         "FROM EventStatuses INNER JOIN (Events INNER JOIN (GroupIDs INNER JOIN GuestNames ON "
         "GroupIDs.GroupID = GuestNames.GroupID) ON Events.EventID = GroupIDs.EventID) ON "
         "EventStatuses.EventStatusID = Events.EventStatusID WHERE GroupIDs.ContactNumber = 1 "
         "AND Events.EventID = " +
         std::to_string(eventId);
}

std::string SrptClientContact::secondarySql(std::int32_t eventId, bool withPictures) {
  return std::string(kContactName) + (withPictures ? "GuestNames.ContactPic, " : "") + kNumbers +
         "FROM GroupIDs INNER JOIN GuestNames ON GroupIDs.GroupID = GuestNames.GroupID WHERE "
         "GroupIDs.ContactNumber =2 AND GroupIDs.EventID = " +
         std::to_string(eventId);
}

void SrptClientContact::fill(db::Recordset& rs, int n) {
  const std::string i = std::to_string(n);
  // One object serves every event of the summary: each event's block starts empty, so an
  // event without a contact never shows the previous event's.
  field("txtContact" + i).setText("");
  field("txtContactInfo" + i).setText("");
  if (!rs.EOF_()) {
    field("txtContact" + i).setText(displayed(rs.value("Contact")));
    field("txtContactInfo" + i).setText(numbersBlock(rs));
  }
  if (withPictures_) {
    auto& pic = picture("imgPic" + i);
    pic.setPicture(nullptr);
    loadPictureOrKeep(pic, rs, "ContactPic");
  }
}

void SrptClientContact::onDataInitialize() {
  db::Connection conn;
  conn.open(connectionString_);
  db::Recordset rs;
  rs.open(primarySql(eventId_, withPictures_), conn);
  fill(rs, 1);
  rs.close();
  rs.open(secondarySql(eventId_, withPictures_), conn);
  fill(rs, 2);
  rs.close();
}

}  // namespace galvix::reports
