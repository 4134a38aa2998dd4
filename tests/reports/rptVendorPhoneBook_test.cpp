// The vendor phone book: letter or category mode, running heads, contacts.
#include <gmock/gmock.h>

#include "report_test_util.h"

namespace galvix::testing {
namespace {

using ::testing::ElementsAre;

class PhoneBook : public ReportTest {
 protected:
  doc::Document runBook(const std::string& groupBy) {
    return run("VendorPhoneBook", {{"SQLGroupBy", Variant(groupBy)},
                                   {"Title", Variant("replaced")},
                                   {"Criteria", Variant("replaced")}});
  }
  // Texts of `control` on page `p`.
  static std::vector<std::string> onPage(const doc::Document& d, std::size_t p,
                                         const std::string& control) {
    doc::Document one;
    one.pages = {d.pages[p]};
    return texts(one, control);
  }
};

TEST_F(PhoneBook, ByCompanyLetterWithoutSystemVendorsWithContactsInReportOrder) {
  db().vendor({.company = "Galvix Planning",
               .system = 1,
               .myCompany = true,
               .reportFooter = "Galvix Planning, Chicago"});
  db().vendor({.company = "(To be decided)", .system = 1});
  db().vendor({.company = "bloom florals",
               .address = "1 Main St",
               .city = "Chicago",
               .state = "IL",
               .postalCode = "60601",
               .phone = "111",
               .fax = "222",
               .www = "bloom.example"});
  const long v = db().vendor(
      {.company = "Aurora Sound", .city = "Evanston", .state = "IL", .postalCode = "60201"});
  db().contact(v, {.first = "Maya",
                   .last = "Lindgren",
                   .jobTitle = "Designer",
                   .email = "maya@example.com",
                   .mobile = "333",
                   .reportOrder = 2});
  db().contact(v, {.first = "Nadia",
                   .last = "Petrović",
                   .nickName = "Nadi",
                   .phone = "111",
                   .fax = "222",
                   .mobile = "333",
                   .pager = "444",
                   .reportOrder = 1});
  db().contact(v, {.first = "Ed", .last = "Kim", .jobTitle = "Bookkeeper", .reportOrder = 0});
  for (const char* c : {"Title", "FirstName", "LastName", "Suffix", "NickName", "JobTitle"})
    db().exec(std::string("UPDATE VendorContacts SET ") + c + " = '' WHERE " + c + " IS NULL");
  db().vendor({.company = "Bella Cucina", .address = "9 Elm St"});
  const auto d = runBook("CompanyName");
  EXPECT_THAT(texts(d, "txtCompany"), ElementsAre("Aurora Sound", "Bella Cucina", "bloom florals"));
  EXPECT_THAT(texts(d, "txtNameChar"), ElementsAre("A", "B"));
  // A Null street drops itself and its carriage return; a Null city part drops the second line.
  EXPECT_THAT(texts(d, "txtAddress"), ElementsAre("\nEvanston, IL  60201", "9 Elm St\r",
                                                  "1 Main St\r\nChicago, IL  60601"));
  EXPECT_THAT(texts(d, "txtFax"), ElementsAre("", "", "222"));
  // Contacts (Aurora's) in report order, those of order 0 left out; job title or "Name:".
  EXPECT_THAT(texts(d, "txtName"), ElementsAre("Nadia Petrović  (Nadi)", "Maya Lindgren"));
  EXPECT_THAT(texts(d, "txtJobTitle"), ElementsAre("Name:", "Designer:"));
  EXPECT_THAT(texts(d, "txtPhone"),
              ElementsAre("", "111 (W)    222 (F)\r\n333 (M)    444 (P)", "333 (M)", "", "111"));
  EXPECT_THAT(texts(d, "txtEMail"), ElementsAre("", "", "maya@example.com", "", "bloom.example"));
  EXPECT_THAT(texts(d, "lblCriteria"), ElementsAre("Vendor Phonebook by Company Name"));
  EXPECT_THAT(texts(d, "lblTitle"), ElementsAre("Galvix Planning, Chicago"));
}

TEST_F(PhoneBook, AnyOtherSpellingGroupsByCategoryListingAVendorUnderEach) {
  const long music = db().expenseCategory("Music"), site = db().expenseCategory("Reception Site");
  const long aurora = db().vendor({.company = "Aurora Sound"});
  db().vendorCategory(aurora, music);
  db().vendorCategory(aurora, site);
  const long dj = db().vendor({.company = "DJ Marco"});
  db().vendorCategory(dj, music);
  const long system = db().vendor({.company = "(To be decided)", .system = 1});
  db().vendorCategory(system, music);
  db().vendor({.company = "No category"});
  for (const char* mode : {"companyname", "Category", ""}) {
    SCOPED_TRACE(mode);
    const auto d = runBook(mode);
    EXPECT_THAT(texts(d, "txtCompany"), ElementsAre("Aurora Sound", "DJ Marco", "Aurora Sound"));
    EXPECT_THAT(texts(d, "txtNameChar"), ElementsAre("Music", "Reception Site"));
    EXPECT_THAT(texts(d, "lblCriteria"), ElementsAre("Vendor Phonebook by Expense Category"));
    EXPECT_THAT(texts(d, "lblFrom"), ElementsAre("Music"));
    EXPECT_THAT(texts(d, "lblTo"), ElementsAre("Reception Site"));
  }
}

TEST_F(PhoneBook, RunningHeadsShowEachPagesFirstAndLastKey) {
  for (int i = 0; i < 40; ++i) {
    const std::string name =
        std::string(1, static_cast<char>('A' + i % 26)) + "vendor " + std::to_string(10 + i);
    db().vendor({.company = name, .address = "1 Main St", .city = "Chicago", .phone = "111"});
  }
  const auto d = runBook("CompanyName");
  ASSERT_GE(d.pages.size(), 2u);
  std::size_t entries = 0;
  for (std::size_t p = 0; p < d.pages.size(); ++p) {
    SCOPED_TRACE(p + 1);
    const auto names = onPage(d, p, "txtCompany");
    ASSERT_FALSE(names.empty());
    entries += names.size();
    EXPECT_THAT(onPage(d, p, "lblFrom"), ElementsAre(names.front()));
    EXPECT_THAT(onPage(d, p, "lblTo"), ElementsAre(names.back()));
  }
  EXPECT_EQ(entries, 40u);
}

}  // namespace
}  // namespace galvix::testing
