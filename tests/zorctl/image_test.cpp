// doctor's look at files: images, whatever their bytes are, applications, and the bundle.
#include <gmock/gmock.h>

#include <cstring>
#include <random>

#include "tools/zorctl/doctor/application.h"
#include "tools/zorctl/doctor/bundle.h"
#include "tools/zorctl/doctor/pe_file.h"
#include "tools/zorctl/doctor/zip.h"

namespace zor::ctl {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using State = ImageFacts::State;

/// The smallest image that imports and exports something: one section, from 0x200 on, that is
/// loaded at 0x1000.
class Image {
 public:
  Image() : bytes_(0x400) {
    Put<std::uint16_t>(0, 0x5A4D);
    Put<std::uint32_t>(60, 0x40);
    Put<std::uint32_t>(0x40, 0x4550);
    Put<std::uint16_t>(0x44, kMachineX64);
    Put<std::uint16_t>(0x46, 1);      // sections
    Put<std::uint16_t>(0x54, 0xF0);   // the optional header's size
    Put<std::uint16_t>(0x58, 0x20B);  // PE32+
    const std::size_t directories = 0x58 + 112;
    Put<std::uint32_t>(directories, 0x1100);           // exports
    Put<std::uint32_t>(directories + 8, 0x1000);       // imports
    Put<std::uint32_t>(directories + 13 * 8, 0x1040);  // delayed imports
    const std::size_t section = 0x58 + 0xF0;
    Put<std::uint32_t>(section + 12, 0x1000);
    Put<std::uint32_t>(section + 16, 0x200);
    Put<std::uint32_t>(section + 20, 0x200);
    // An import by name, one by number; a delayed library; an export.
    Put<std::uint32_t>(0x200, 0x1080);
    Put<std::uint32_t>(0x20C, 0x10A0);
    Put<std::uint64_t>(0x280, 0x10B0);
    Put<std::uint64_t>(0x288, 0x8000000000000005);
    PutText(0x2A0, "ole32.dll");
    PutText(0x2B2, "CoInitializeEx");
    Put<std::uint32_t>(0x244, 0x10D0);
    PutText(0x2D0, "later.dll");
    Put<std::uint32_t>(0x300 + 24, 1);
    Put<std::uint32_t>(0x300 + 32, 0x1140);
    Put<std::uint32_t>(0x340, 0x1150);
    PutText(0x350, "zor_get_dll_information");
  }

  template <typename Number>
  void Put(std::size_t at, Number number) {
    std::memcpy(bytes_.data() + at, &number, sizeof(number));
  }
  void PutText(std::size_t at, const char* text) {
    std::memcpy(bytes_.data() + at, text, std::strlen(text));
  }

  std::vector<std::uint8_t> bytes_;
};

TEST(PeFile, HasItsMachineImportsAndExports) {
  const Image image;
  const PeFile file = ReadPeFile(image.bytes_);
  EXPECT_TRUE(file.is_image);
  EXPECT_FALSE(file.is_truncated);
  EXPECT_EQ(file.machine, kMachineX64);
  ASSERT_EQ(file.imports.size(), 2U);
  EXPECT_EQ(file.imports[0].library, "ole32.dll");
  EXPECT_THAT(file.imports[0].functions, ElementsAre("CoInitializeEx"));
  EXPECT_FALSE(file.imports[0].delayed);
  EXPECT_EQ(file.imports[1].library, "later.dll");
  EXPECT_TRUE(file.imports[1].delayed);
  EXPECT_THAT(file.exports, ElementsAre("zor_get_dll_information"));
}

TEST(PeFile, OtherBytesAreNoImageAndACutOneIsCut) {
  EXPECT_FALSE(ReadPeFile({}).is_image);
  const std::string text =
      "MZ, but only a text that begins so, and goes on for a while, to the end.";
  EXPECT_FALSE(ReadPeFile(std::vector<std::uint8_t>(text.begin(), text.end())).is_image);
  Image image;
  image.bytes_.resize(0x3FF);
  EXPECT_TRUE(ReadPeFile(image.bytes_).is_truncated);
  image.Put<std::uint16_t>(0x44, kMachineX86);
  EXPECT_EQ(MachineName(ReadPeFile(image.bytes_).machine), "32-bit x86");
}

TEST(PeFile, NeitherAnyLengthNorAnyDamageLeadsAstray) {
  // The sanitizers watch.
  const Image image;
  for (std::size_t size = 0; size < image.bytes_.size(); ++size) {
    const std::vector<std::uint8_t> part(image.bytes_.begin(),
                                         image.bytes_.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_LE(ReadPeFile(part).imports.size(), 2U);
  }
  std::mt19937 random(1);
  std::size_t images = 0;
  for (int i = 0; i < 5000; ++i) {
    Image damaged;
    for (int j = 0; j < 4; ++j) {
      damaged.bytes_[random() % damaged.bytes_.size()] = static_cast<std::uint8_t>(random());
    }
    if (ReadPeFile(damaged.bytes_).is_image) ++images;
  }
  EXPECT_GT(images, 1000U);
}

// --- Applications

Findings Of(const ApplicationFacts& application) { return DiagnoseApplication(application); }

TEST(Application, ASoundOneHasThreeFindings) {
  const Findings findings = Of({.path = "a.exe",
                                .imports_library = true,
                                .imports_com = true,
                                .library = "ZorInterface.dll",
                                .library_version = "0.1.0"});
  ASSERT_EQ(findings.size(), 3U);
  for (const Finding& finding : findings) EXPECT_EQ(finding.verdict, Verdict::kOk);
  EXPECT_EQ(findings[0].found, "a.exe is for 64-bit x86");
  EXPECT_EQ(findings[1].found,
            "it imports ZorInterface.dll and gets ZorInterface.dll, version 0.1.0");
}

TEST(Application, ThatCannotBeUsedIsSaidAndNothingElse) {
  const struct {
    ImageFacts image;
    const char* found;
  } images[] = {
      {{.state = State::kMissing}, "there is no such file"},
      {{.state = State::kFolder}, "is a folder"},
      {{.state = State::kUnreadable, .error = {5, "Access denied"}}, "(error 5: Access denied)"},
      {{.state = State::kNotAnImage}, "is no program"},
      {{.state = State::kTruncated}, "is cut off"},
      {{.state = State::kOtherMachine, .machine = "32-bit x86"}, "is for 32-bit x86"},
  };
  for (const auto& [image, found] : images) {
    const Findings findings = Of({.path = "a.exe", .image = image});
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].verdict, Verdict::kFault);
    EXPECT_THAT(findings[0].found, HasSubstr(found));
    EXPECT_THAT(findings[0].advice, Not(IsEmpty()));
  }
}

TEST(Application, SaysWhichLibraryItGetsAndWhatIsWrongWithIt) {
  EXPECT_EQ(Of({.path = "a.exe", .imports_library = true})[1].verdict, Verdict::kFault);
  EXPECT_EQ(Of({.path = "a.exe"})[1].verdict, Verdict::kWarning);
  const Findings findings =
      Of({.path = "a.exe",
          .library = "ZorInterface.dll",
          .library_image = {.state = State::kOtherMachine, .machine = "32-bit x86"}});
  EXPECT_EQ(findings[1].verdict, Verdict::kFault);
  EXPECT_THAT(findings[1].found, HasSubstr("is for 32-bit x86"));
  EXPECT_EQ(findings[2].verdict, Verdict::kWarning);
  EXPECT_THAT(findings[2].found, HasSubstr("imports no function that initialises COM"));
  const Findings lacking =
      Of({.path = "a.exe", .image = {.missing = {{"b.dll", "a.exe", "is missing"}}}});
  EXPECT_EQ(lacking[0].verdict, Verdict::kFault);
  EXPECT_EQ(lacking[0].found, "a.exe needs b.dll, which is missing");
}

// --- The bundle

TEST(Bundle, HoldsTheReportVersionsLinesAndNothingPersonal) {
  Facts facts;
  facts.process = ProcessFacts{.user = R"(PC\Ann)", .system = "Windows 10.0.1"};
  facts.library.version = "0.1.0";
  facts.machine.driver.version_text = "1.0.0.5";
  facts.machine.candidates.push_back({.folder = "zorapo.inf_1", .version_line = "DriverVer=1,2"});
  facts.server.merged = CallFacts{.lines = {R"([zor] C:\users\ann\x)"}};
  const Findings findings{{"library",
                           "library",
                           Verdict::kFault,
                           R"(C:\Users\Ann\ZorInterface.dll)",
                           R"(PC\ann)",
                           R"(C:\USERS\ANN)",
                           {},
                           {R"([zor] pc\ann)"}}};
  const auto entries =
      MakeBundle(findings, facts, {{R"(C:\Users\Ann)", "(folder)"}, {R"(PC\Ann)", "(user)"}});
  std::string all;
  std::vector<std::string> names;
  for (const ZipEntry& entry : entries) {
    names.push_back(entry.name);
    all += entry.contents;
  }
  EXPECT_THAT(names,
              ElementsAre("report.txt", "report.json", "versions.txt", "inf.txt", "log.txt"));
  EXPECT_THAT(entries[0].contents, HasSubstr(R"(FAULT    library: (folder)\ZorInterface.dll)"));
  EXPECT_THAT(entries[1].contents, HasSubstr(R"("found": "(folder)\\ZorInterface.dll")"));
  EXPECT_THAT(entries[2].contents, AllOf(HasSubstr("ZorInterface.dll 0.1.0\n"),
                                         HasSubstr("Windows 10.0.1\ndriver 1.0.0.5\n")));
  EXPECT_EQ(entries[3].contents, "zorapo.inf_1: DriverVer=1,2\n");
  EXPECT_EQ(entries[4].contents, "ZorIntfEnum(2): [zor] (folder)\\x\n");
  for (const char* name : {"Ann", "ann", "ANN"}) EXPECT_THAT(all, Not(HasSubstr(name)));
}

TEST(Zip, ChecksumsAndRecordsAreThoseOfTheFormat) {
  EXPECT_EQ(Crc32("123456789"), 0xCBF43926U);
  EXPECT_EQ(Crc32(""), 0U);
  const std::vector<ZipEntry> entries{{"a.txt", "hello"}, {"b", ""}};
  const auto zip = MakeZip(entries);
  const std::string bytes(zip.begin(), zip.end());
  // Two files, two entries of the directory, its end.
  EXPECT_EQ(bytes.size(), 2 * 30 + 2 * 46 + 22 + 2 * (5 + 1) + 5);
  EXPECT_TRUE(bytes.starts_with("PK\x03\x04"));
  EXPECT_THAT(bytes, HasSubstr("a.txthello"));
  EXPECT_EQ(bytes.substr(bytes.size() - 22, 4), std::string("PK\x05\x06"));
}

}  // namespace
}  // namespace zor::ctl
