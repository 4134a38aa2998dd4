// Pictures read from a binary column through a temporary file (the chunks, the stale file and
// the empty column as the reports meet them: rptEvents_test.cpp, rptInvoice_test.cpp).
#include "reports/common/picture_file.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

#include "db/connection.h"
#include "report_test_util.h"

namespace galvix::testing {
namespace {

namespace fs = std::filesystem;
using reports::loadPicture;
using reports::PictureFileError;
using reports::readPictureThroughFile;

class PictureFileTest : public ReportTest {
 protected:
  // The picture file of a run in the database's folder or in `folder` under it.
  std::string path(const std::string& folder = "") {
    return (fs::path(db().path()).parent_path() / folder / "TempPic.jpg").string();
  }
};

TEST_F(PictureFileTest, AFolderThatCannotBeWrittenNamesTheFile) {
  db().image(db().vendor(), Bytes(10, 1));
  const std::string bad = path("no-such-folder");
  db::Connection c;
  c.open(db().connectionString());
  db::Recordset rs;
  rs.open("SELECT ImageBLOB FROM ImageLibrary", c);
  try {
    readPictureThroughFile(rs.fields("ImageBLOB"), bad, 100);
    FAIL() << "no error";
  } catch (const PictureFileError& e) {
    EXPECT_NE(std::string(e.what()).find(bad), std::string::npos) << e.what();
  }
}

// An undecodable picture's error is checked through the invoice that meets it.
TEST_F(PictureFileTest, SameBytesShareOnePicture) {
  // 1x1 GIF.
  const Bytes gif = {'G', 'I', 'F', '8', '9',  'a',  1,    0,    1,    0, 0x80, 0,
                     0,   0,   0,   0,   0xFF, 0xFF, 0xFF, ',',  0,    0, 0,    0,
                     1,   0,   1,   0,   0,    2,    2,    0x44, 0x01, 0, ';'};
  auto first = loadPicture(gif, "ImageBLOB");
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(loadPicture(gif, "ImageBLOB", first), first);
  Bytes other = gif;
  other[16] = 0;  // another colour
  EXPECT_NE(loadPicture(other, "ImageBLOB", first), first);
}

TEST_F(PictureFileTest, RunsSharingTheFileNameEachReadTheirOwnPicture) {
  const Bytes a(3000, 0xAA), b(2000, 0xBB);
  db().image(db().vendor(), a);
  db().image(db().vendor(), b);
  const std::string file = path();
  auto reader = [&](const Bytes& want, std::atomic<int>& wrong) {
    db::Connection c;
    c.open(db().connectionString());
    for (int i = 0; i < 100; ++i) {
      db::Recordset rs;
      rs.open(
          "SELECT ImageBLOB FROM ImageLibrary WHERE ImageID = " + std::to_string(want == a ? 1 : 2),
          c);
      if (readPictureThroughFile(rs.fields("ImageBLOB"), file, 100) != want) ++wrong;
      rs.close();
    }
  };
  std::atomic<int> wrongA{0}, wrongB{0};
  std::thread ta(reader, std::cref(a), std::ref(wrongA));
  std::thread tb(reader, std::cref(b), std::ref(wrongB));
  ta.join();
  tb.join();
  EXPECT_EQ(wrongA, 0);
  EXPECT_EQ(wrongB, 0);
  EXPECT_FALSE(fs::exists(file));
}

}  // namespace
}  // namespace galvix::testing
