#include <gmock/gmock.h>

#include "report_test_util.h"

namespace galvix::testing {
namespace {
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class GuestHotel : public PartyReportTest {
 protected:
  doc::Document runHotel(const std::string& where, const std::string& orderBy = "") {
    return run("Guest Hotel Information", {{"SQLWhere", Variant(where)},
                                           {"SQLOrderBy", Variant(orderBy)},
                                           {"DateFormat", Variant("yyyy-mm-dd")}});
  }
  // A group of `n` guests invited to `party`, the first `attending` of them attending; returns
  // the invitation (PartyGroupID).
  long stay(long party, const std::string& label, const std::string& hotel, int n, int attending,
            const std::string& note = "") {
    long g = db().group(event_, {.label = label});
    long pg = db().invitation(party, g,
                              {.formalLabel = label,
                               .rsvpNote = note,
                               .hotel = hotel,
                               .checkIn = data::date(2024, 6, 1),
                               .checkOut = data::date(2024, 6, 3)});
    for (int i = 0; i < n; ++i)
      db().invite(db().guest(g, {.first = label + std::to_string(i)}), party,
                  {.attending = i < attending, .primary = i == 0});
    return pg;
  }
};

TEST_F(GuestHotel, PrimaryLineOfEachGroupAtAHotelWithItsRooms) {
  long adams = stay(party_, "Adams", "Inn", 2, 2);
  db().hotelRoom(adams, "King", 2, true);
  db().hotelRoom(adams, "Twin", 1200, false);
  stay(party_, "Baker", "Inn", 3, 1, "Arrives late");  // no rooms booked
  stay(party_, "Cole", "", 2, 2);                      // no hotel: not listed
  db().hotelRoom(stay(party_, "Dunn", "Lodge", 1, 1), "Queen", 1, true);
  // Another party's stays and rooms stay out.
  long brunch = db().party(event_, {.name = "Brunch"});
  db().hotelRoom(stay(brunch, "Adams", "Motel", 2, 2), "Cot", 9, false);

  auto d = runHotel(partyClause(party_), "ORDER BY PartyDetails.Hotel, PartyDetails.FormalLabel");
  EXPECT_THAT(texts(d, "txtHotel"), ElementsAre("Inn", "Lodge"));
  EXPECT_THAT(texts(d, "txtNames"), ElementsAre("Adams", "Baker", "Dunn"));
  EXPECT_THAT(texts(d, "txtNumber"), ElementsAre("2", "1", "1"));
  EXPECT_THAT(texts(d, "txtTDate"), ElementsAre("6/1/2024", "6/1/2024", "6/1/2024"));
  EXPECT_THAT(texts(d, "txtRoomType"), ElementsAre("King", "Twin", "Queen"));
  EXPECT_THAT(texts(d, "txtNumRooms"), ElementsAre("2", "1,200", "1"));
  EXPECT_THAT(ticks(d, "chkSmoking"), ElementsAre(true, false, true));
  // A line without a note hides it; the next line with one shows it again.
  EXPECT_THAT(texts(d, "txtRSVPNote"), ElementsAre("Arrives late"));
}

TEST_F(GuestHotel, ClauseWithoutWhereGetsItsOwnAndTheAddressIsCompleted) {
  db().set("Parties", party_, "Address", Variant("1 Main St"));
  db().set("Parties", party_, "City", Variant(" Oslo "));
  db().set("Parties", party_, "State", Variant("OS"));
  db().set("Parties", party_, "PostalCode", Variant("0150"));
  db().set("Parties", party_, "Date", data::date(2024, 6, 1));
  stay(party_, "Adams", "Inn", 1, 1);
  auto d = runHotel(partyClause(party_));
  EXPECT_THAT(texts(d, "txtAddress"), ElementsAre("1 Main St\r\nOslo, OS 0150"));
  EXPECT_THAT(texts(d, "txtDate"), ElementsAre("2024-06-01"));

  // "where" in any case counts as a where clause; an empty clause gets the report's own.
  long street = db().party(event_, {.name = "Picnic", .address = "The Park"});
  stay(street, "Baker", "Lodge", 1, 0);
  long city = db().party(event_, {.name = "Dance", .address = "Hall", .city = "Bergen"});
  stay(city, "Cole", "Motel", 1, 1);
  EXPECT_THAT(texts(runHotel("where Parties.PartyID = " + std::to_string(street)), "txtNames"),
              ElementsAre("Baker"));
  d = runHotel("", "ORDER BY Parties.PartyID");
  EXPECT_THAT(texts(d, "txtNames"), ElementsAre("Adams", "Baker", "Cole"));
  // Missing (Null) parts are left out with their separators.
  EXPECT_THAT(texts(d, "txtAddress"),
              ElementsAre("1 Main St\r\nOslo, OS 0150", "The Park", "Hall\r\nBergen"));
}

TEST_F(GuestHotel, BadClauseNamesTheReportAndItsStatement) {
  stay(party_, "Adams", "Inn", 1, 1);
  EXPECT_THAT(runError([&] { runHotel("WHERE Parties.NoSuchColumn = 1"); }),
              AllOf(HasSubstr("Guest Hotel Information"),
                    HasSubstr("NoSuchColumn = 1 and Invitees.Primary = True and "
                              "[PartyDetails].[Hotel] <> \"\" ")));
  db().exec("DROP TABLE HotelRooms");
  EXPECT_THAT(runError([&] { runHotel(partyClause(party_)); }),
              AllOf(HasSubstr("Guest Hotel Information"),
                    HasSubstr("FROM PartyDetails INNER JOIN HotelRooms")));
}

}  // namespace
}  // namespace galvix::testing
