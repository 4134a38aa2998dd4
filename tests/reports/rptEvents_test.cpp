#include <gmock/gmock.h>

#include <filesystem>

#include "db/connection.h"
#include "engine/controls.h"
#include "report_test_util.h"
#include "reports/common/picture_file.h"

namespace galvix::testing {
namespace {
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A 24-bit bitmap of 17 x 47 pixels, exactly `size` bytes: the pixel rows start after a gap
// that pads the file out (`size` must leave 2,444 bytes of rows after the 54-byte header).
Bytes bitmapOf(std::size_t size, std::uint8_t fill) {
  const std::uint32_t rows = 52 * 47, offset = static_cast<std::uint32_t>(size) - rows;
  Bytes b;
  auto put = [&](std::uint32_t v, int n) {
    for (int i = 0; i < n; ++i) b.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
  };
  b = {'B', 'M'};
  put(static_cast<std::uint32_t>(size), 4);
  put(0, 4);
  put(offset, 4);
  for (std::uint32_t v : {40u, 17u, 47u}) put(v, 4);
  put(1, 2);
  put(24, 2);
  for (std::uint32_t v : {0u, rows, 3780u, 3780u, 0u, 0u}) put(v, 4);
  b.resize(offset, 0);
  b.resize(size, fill);
  return b;
}

class EventSummary : public ReportTest {
 protected:
  void SetUp() override {
    ReportTest::SetUp();
    wedding_ = db().event({.name = "Lee Wedding",
                           .type = "Wedding",
                           .status = "Contracted",
                           .budget = data::money(48500),
                           .start = data::date(2025, 6, 13),
                           .end = data::date(2025, 6, 14)});
    db().party(wedding_,
               {.name = "Ceremony", .date = data::date(2025, 6, 14), .time = data::time(15, 30)});
    db().party(wedding_,
               {.name = "Reception", .date = data::date(2025, 6, 14), .time = data::time(18, 0)});
    // No budget, no sub-events.
    gala_ = db().event({.name = "Gala",
                        .type = "Corporate",
                        .status = "Inquiry",
                        .start = data::date(2025, 1, 10)});
    contact(
        wedding_, 1,
        {.label = "Ann", .hPhone = "555-0101", .mPhone = "555-0103", .email = "ann@example.com"},
        {.first = "Ann", .last = "Lee", .title = "Ms.", .picture = Variant::binary(picture_)});
    // Only a work phone and an e-mail; a home phone of blanks; no title.
    contact(wedding_, 2,
            {.label = "Bo", .hPhone = "   ", .wPhone = "555-0202", .email = "bo@example.com"},
            {.first = "Bo", .last = "Lee", .suffix = "Jr."});
    // Contacts numbered otherwise are no client contacts.
    contact(wedding_, 3, {.label = "Cy", .hPhone = "555-0303"}, {.first = "Cy", .last = "Lee"});
    contact(gala_, 1, {.label = "Dee", .email = "dee@example.com"},
            {.first = "Dee", .last = "Diaz", .title = "Dr."});
  }

  doc::Document runSummary(const std::string& name, const std::string& orderBy,
                           const std::string& timeFormat = "h:mm AP") {
    return run(name, {{"SQLOrderBy", Variant(orderBy)}, {"TimeFormat", Variant(timeFormat)}});
  }

  Bytes picture_ = bitmapOf(2500, 0x5A);
  long wedding_ = 0, gala_ = 0;
};

TEST_F(EventSummary, EachEventWithItsOwnContactsAndSubEventsInTheCallersOrder) {
  const auto d = runSummary("SummaryOfEventsWithOutPics", "ORDER BY Events.EventName DESC");
  EXPECT_THAT(texts(d, "txtEventName"), ElementsAre("Lee Wedding", "Gala"));
  EXPECT_THAT(texts(d, "txtTypeOfEvent"), ElementsAre("Wedding", "Corporate"));
  // The regional currency form; an empty budget stays empty.
  EXPECT_THAT(texts(d, "txtBudget"), ElementsAre("$48,500.00", ""));
  EXPECT_THAT(texts(d, "txtStartDate"), ElementsAre("6/13/2025", "1/10/2025"));
  EXPECT_THAT(texts(d, "txtStatus"), ElementsAre("Contracted", "Inquiry"));
  // Title, first and last name each followed by a blank, then the suffix.
  EXPECT_THAT(texts(d, "txtContact1"), ElementsAre("Ms. Ann Lee ", "Dr. Dee Diaz "));
  EXPECT_THAT(texts(d, "txtContactInfo1"),
              ElementsAre("(H) 555-0101\r\n(M) 555-0103\r\nann@example.com", "dee@example.com"));
  // The gala has no secondary contact: its block is empty, not the wedding's again.
  EXPECT_THAT(texts(d, "txtContact2"), ElementsAre("Bo Lee Jr.", ""));
  EXPECT_THAT(texts(d, "txtContactInfo2"), ElementsAre("(W) 555-0202\r\nbo@example.com", ""));
  // The gala has no sub-events: no caption and no lines for it.
  EXPECT_THAT(texts(d, "lblSubEvent"), ElementsAre("Sub Events"));
  EXPECT_THAT(texts(d, "txtSubEvent"), ElementsAre("Ceremony", "Reception"));
  EXPECT_THAT(texts(d, "txtSubEventDate"), ElementsAre("6/14/2025", "6/14/2025"));
  // The parent's time format reaches the sub-events, "AP" there read as AMPM.
  EXPECT_THAT(texts(d, "txtSubEventTime"), ElementsAre("3:30 PM", "6:00 PM"));
  EXPECT_THAT(pictures(d, "imgPic1"), IsEmpty());
  // Without an order: every event in the database's order, the default time format.
  const auto plain = runSummary("SummaryOfEventsWithOutPics", "", "");
  EXPECT_THAT(texts(plain, "txtEventName"), ElementsAre("Lee Wedding", "Gala"));
  EXPECT_THAT(texts(plain, "txtSubEventTime"), ElementsAre("3:30:00 PM", "6:00:00 PM"));
}

TEST_F(EventSummary, ThePictureVariantAddsTheContactsPicturesAndNothingElse) {
  const TempDir tmp("pictures");
  doc::Document withPics;
  {
    const ScopedEnv tmpdir("TMPDIR", tmp.path.string());
    withPics = runSummary("SummaryOfEventsWithPics", "ORDER BY Events.EventName DESC");
  }
  // The temporary files are gone once each picture is loaded.
  EXPECT_TRUE(std::filesystem::is_empty(tmp.path));

  const auto pics = pictures(withPics, "imgPic1");
  ASSERT_EQ(pics.size(), 1u);  // the gala's contact has none
  ASSERT_TRUE(pics[0]->data);
  EXPECT_EQ(*pics[0]->data, picture_);
  EXPECT_THAT(pictures(withPics, "imgPic2"), IsEmpty());
  const auto plain = runSummary("SummaryOfEventsWithOutPics", "ORDER BY Events.EventName DESC");
  for (const char* c : {"txtEventName", "txtBudget", "txtContact1", "txtContactInfo1",
                        "txtContact2", "txtContactInfo2", "txtSubEvent", "txtSubEventTime"})
    EXPECT_EQ(texts(withPics, c), texts(plain, c)) << c;
  // A value that is no picture shows none.
  db().exec("UPDATE GuestNames SET ContactPic = X'00010203' WHERE GFName = 'Ann'");
  const auto bad = runSummary("SummaryOfEventsWithPics", "");
  EXPECT_THAT(pictures(bad, "imgPic1"), IsEmpty());
  EXPECT_THAT(texts(bad, "txtContact1"), ElementsAre("Ms. Ann Lee ", "Dr. Dee Diaz "));
}

TEST_F(EventSummary, APictureIsCopiedInChunksOfAThousandBytesThroughAFileThatIsThenGone) {
  db::Connection c;
  c.open(db().connectionString());
  db::Recordset rs;
  rs.open("SELECT ContactPic FROM GuestNames WHERE GFName IN ('Ann', 'Bo') ORDER BY GFName", c);
  engine::Picture control{engine::ControlState{}}, fallback{engine::ControlState{}};
  const std::string file = reports::tempPicturePath("");
  std::vector<std::size_t> sizes;
  auto seen = [&](std::size_t n) {
    EXPECT_TRUE(std::filesystem::exists(file));
    sizes.push_back(n);
  };
  reports::loadPictureOrKeep(control, rs, "ContactPic", nullptr, seen);
  EXPECT_THAT(sizes, ElementsAre(1000u, 1000u, 500u));
  ASSERT_TRUE(control.picture());
  EXPECT_EQ(*control.picture(), picture_);
  EXPECT_FALSE(std::filesystem::exists(file));

  rs.moveNext();  // Bo: no picture, nothing written; the default picture, else none
  sizes.clear();
  fallback.setPicture(picture_);
  reports::loadPictureOrKeep(control, rs, "ContactPic", &fallback, seen);
  EXPECT_THAT(sizes, IsEmpty());
  EXPECT_EQ(control.picture(), fallback.picture());
  reports::loadPictureOrKeep(control, rs, "ContactPic", nullptr, seen);
  EXPECT_EQ(control.picture(), nullptr);
  EXPECT_FALSE(std::filesystem::exists(file));

  rs.moveNext();  // no row at all: the same as an empty column
  control.setPicture(picture_);
  reports::loadPictureOrKeep(control, rs, "ContactPic", nullptr, seen);
  EXPECT_EQ(control.picture(), nullptr);
}

}  // namespace
}  // namespace galvix::testing
