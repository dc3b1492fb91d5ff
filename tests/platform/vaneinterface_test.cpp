#include "platform/vaneinterface.h"

#include <gtest/gtest.h>

#include <string>

#include "engine/vane.h"
#include "platform/trace.h"
#include "tests/platform/fake_device_identifiers.h"
#include "tests/platform/faulty_keychain.h"
#include "tests/platform/watched.h"
#include "tests/support/temporary_folder.h"

namespace talvane::test {
namespace {

const std::string slot_0 = "TalvaneSoftToken5020";
const std::string slot_1 = "TalvaneSoftToken5021";

Record recordNamed(const std::string& name) {
  return {{"desc", name}, {"seed32", Bytes{7, 0, 7}}, {"ek", std::int64_t{12345}}};
}

class VaneInterfaceTest : public testing::Test {
 protected:
  FaultyKeychain keychain;
  FakeDeviceIdentifiers identifiers;
  vaneinterface gateway{keychain, identifiers};

  void failWith(KeychainStatus status) {
    keychain.fault = [status](FaultyKeychain::Call, std::size_t) { return status; };
  }
  void recover() { keychain.fault = nullptr; }
};

TEST_F(VaneInterfaceTest, SavedRecordReadsBackWithTheThreeFingerprints) {
  const Record record = recordNamed("one");
  ASSERT_TRUE(gateway.KeyChainSave(slot_0, record));
  EXPECT_EQ(record, recordNamed("one")) << "the caller's record is not added to";
  Record read;
  ASSERT_TRUE(gateway.KeyChainLoad(slot_0, &read));
  Record expected = recordNamed("one");
  expected["fpsn"] = std::string("0123456789abcdef");
  expected["fphd"] = std::string("A0B1C2D3-0000-4000-8000-00000000FFFF");
  expected["fpus"] = std::string("ada and more");
  EXPECT_EQ(read, expected);
}

TEST_F(VaneInterfaceTest, FingerprintsAreThoseOfTheTimeOfSaving) {
  Record record = recordNamed("one");
  record["fpsn"] = std::string("of another machine");
  record["fphd"] = std::string("of another volume");
  record["fpus"] = std::string("of another user");
  identifiers.serial = "new";
  identifiers.volume.clear();
  ASSERT_TRUE(gateway.KeyChainSave(slot_0, record));
  Record read;
  ASSERT_TRUE(gateway.KeyChainLoad(slot_0, &read));
  EXPECT_EQ(read["fpsn"], RecordValue(std::string("new")));
  EXPECT_EQ(read["fphd"], RecordValue(std::string()));
  EXPECT_EQ(read["fpus"], RecordValue(std::string("ada and more")));
}

TEST_F(VaneInterfaceTest, ItemsLieUnderTheLoginName) {
  ASSERT_TRUE(gateway.KeyChainSave(slot_0, recordNamed("one")));
  ASSERT_EQ(keychain.memory.items.size(), 1U);
  EXPECT_EQ(keychain.memory.items.begin()->first, std::pair(slot_0, std::string("ada")));
  identifiers.account = "bob";
  Record read = recordNamed("untouched");
  const vaneinterface::Recording recording(gateway);
  EXPECT_FALSE(gateway.KeyChainLoad(slot_0, &read));
  EXPECT_EQ(recording.lastLoad().status, KeychainStatus::item_not_found);
  EXPECT_EQ(read, recordNamed("untouched"));
  EXPECT_TRUE(gateway.KeyChainDelete(slot_0));
  EXPECT_EQ(keychain.memory.items.size(), 1U);
}

TEST_F(VaneInterfaceTest, DeletingRemovesOneRecord) {
  ASSERT_TRUE(gateway.KeyChainSave(slot_0, recordNamed("zero")));
  ASSERT_TRUE(gateway.KeyChainSave(slot_1, recordNamed("one")));
  const vaneinterface::Recording recording(gateway);
  EXPECT_TRUE(gateway.KeyChainDelete(slot_0));
  EXPECT_FALSE(recording.failedChange().has_value());
  Record read;
  EXPECT_FALSE(gateway.KeyChainLoad(slot_0, &read));
  EXPECT_TRUE(gateway.KeyChainLoad(slot_1, &read));
}

TEST_F(VaneInterfaceTest, DeletingWhatIsNotThereSucceeds) {
  const vaneinterface::Recording recording(gateway);
  EXPECT_TRUE(gateway.KeyChainDelete(slot_0));
  EXPECT_FALSE(recording.failedChange().has_value());
}

TEST_F(VaneInterfaceTest, FailedDeletionIsRecorded) {
  ASSERT_TRUE(gateway.KeyChainSave(slot_0, recordNamed("zero")));
  keychain.fault = [](FaultyKeychain::Call call, std::size_t) {
    return call == FaultyKeychain::Call::remove ? KeychainStatus::io_error : KeychainStatus::ok;
  };
  const vaneinterface::Recording recording(gateway);
  EXPECT_FALSE(gateway.KeyChainDelete(slot_0));
  ASSERT_TRUE(recording.failedChange().has_value());
  EXPECT_EQ(recording.failedChange()->status, KeychainStatus::io_error);
  EXPECT_EQ(recording.failedChange()->words, "words for -36 [-36]");
}

TEST_F(VaneInterfaceTest, DeletionWhoseLookUpFailedIsRecordedThoughItCountsAsDone) {
  ASSERT_TRUE(gateway.KeyChainSave(slot_0, recordNamed("zero")));
  failWith(KeychainStatus::not_responding);
  const vaneinterface::Recording recording(gateway);
  EXPECT_TRUE(gateway.KeyChainDelete(slot_0));
  ASSERT_TRUE(recording.failedChange().has_value());
  EXPECT_EQ(recording.failedChange()->status, KeychainStatus::not_responding);
}

TEST_F(VaneInterfaceTest, RecordingTellsTheLastLoadAndTheFirstFailedChange) {
  ASSERT_TRUE(gateway.KeyChainSave(slot_0, recordNamed("before")));
  Record read;
  {
    const vaneinterface::Recording recording(gateway);
    EXPECT_FALSE(recording.hasSaved()) << "what was before does not count";
    ASSERT_FALSE(gateway.KeyChainLoad(slot_1, &read));
    EXPECT_EQ(recording.lastLoad().status, KeychainStatus::item_not_found);
    ASSERT_TRUE(gateway.KeyChainLoad(slot_0, &read));
    EXPECT_EQ(recording.lastLoad().status, KeychainStatus::ok);
    ASSERT_TRUE(gateway.KeyChainSave(slot_1, recordNamed("one")));
    EXPECT_TRUE(recording.hasSaved());
    EXPECT_FALSE(recording.failedChange().has_value());
    failWith(KeychainStatus::disk_full);
    ASSERT_FALSE(gateway.KeyChainSave(slot_1, recordNamed("two")));
    failWith(KeychainStatus::io_error);
    ASSERT_FALSE(gateway.KeyChainSave(slot_1, recordNamed("three")));
    recover();
    ASSERT_TRUE(gateway.KeyChainDelete(slot_1));
    ASSERT_TRUE(recording.failedChange().has_value());
    EXPECT_EQ(recording.failedChange()->status, KeychainStatus::disk_full);
    EXPECT_EQ(recording.failedChange()->words, "words for -34 [-34]");
  }
  const vaneinterface::Recording next(gateway);
  EXPECT_FALSE(next.failedChange().has_value());
}

TEST_F(VaneInterfaceTest, RecordsThatAreThereAreNotSavedOverWhileRecording) {
  ASSERT_TRUE(gateway.KeyChainSave(slot_0, recordNamed("zero")));
  const auto& item = keychain.memory.items.at({slot_0, "ada"});
  const Bytes before = item.get();
  {
    vaneinterface::Recording recording(gateway);
    EXPECT_FALSE(gateway.KeyChainSave(slot_0, recordNamed("intruder")));
    EXPECT_TRUE(recording.refused());
    EXPECT_EQ(item.get(), before);
    EXPECT_TRUE(gateway.KeyChainSave(slot_1, recordNamed("one"))) << "there was none";
    recording.mayReplace(slot_0);
    EXPECT_TRUE(gateway.KeyChainSave(slot_0, recordNamed("successor")));
  }
  EXPECT_TRUE(gateway.KeyChainSave(slot_0, recordNamed("third"))) << "only while recording";
}

TEST_F(VaneInterfaceTest, NothingIsSavedWhileRecordingWhereTheLookUpFails) {
  keychain.fault = [](FaultyKeychain::Call call, std::size_t number) {
    return call == FaultyKeychain::Call::find && number == 0 ? KeychainStatus::not_responding
                                                             : KeychainStatus::ok;
  };
  const vaneinterface::Recording recording(gateway);
  EXPECT_FALSE(gateway.KeyChainSave(slot_0, recordNamed("zero")));
  EXPECT_FALSE(recording.refused());
  EXPECT_EQ(recording.failedChange()->status, KeychainStatus::not_responding);
  EXPECT_TRUE(keychain.memory.items.empty());
}

TEST_F(VaneInterfaceTest, RecordThatCouldNotBeReadIsNotSavedOver) {
  for (const auto& [status, number] : failures) {
    if (status == KeychainStatus::item_not_found) continue;
    SCOPED_TRACE(number);
    keychain.memory.items.clear();
    ASSERT_TRUE(gateway.KeyChainSave(slot_0, recordNamed("kept")));
    failWith(status);
    Record read = recordNamed("untouched");
    EXPECT_FALSE(gateway.KeyChainLoad(slot_0, &read));
    EXPECT_EQ(read, recordNamed("untouched"));
    recover();
    {
      vaneinterface::Recording recording(gateway);
      recording.mayReplace(slot_0);
      EXPECT_FALSE(gateway.KeyChainSave(slot_0, recordNamed("intruder")));
      ASSERT_TRUE(recording.failedChange().has_value());
      EXPECT_EQ(recording.failedChange()->status, status);
      EXPECT_EQ(recording.failedChange()->words,
                "words for " + std::to_string(number) + " [" + std::to_string(number) + "]");
    }
    ASSERT_TRUE(gateway.KeyChainLoad(slot_0, &read));
    EXPECT_EQ(read["desc"], RecordValue(std::string("kept")));
    EXPECT_TRUE(gateway.KeyChainSave(slot_0, recordNamed("successor"))) << "it was read meanwhile";
  }
}

TEST_F(VaneInterfaceTest, RecordFoundMissingAfterAFailureIsSavedAgain) {
  failWith(KeychainStatus::interaction_not_allowed);
  Record read;
  ASSERT_FALSE(gateway.KeyChainLoad(slot_0, &read));
  recover();
  ASSERT_FALSE(gateway.KeyChainSave(slot_0, recordNamed("one")));
  ASSERT_FALSE(gateway.KeyChainLoad(slot_0, &read));
  EXPECT_TRUE(gateway.KeyChainSave(slot_0, recordNamed("one")));
}

TEST_F(VaneInterfaceTest, FailedLoadOfOneRecordDoesNotHinderAnother) {
  failWith(KeychainStatus::not_responding);
  Record read;
  ASSERT_FALSE(gateway.KeyChainLoad(slot_0, &read));
  recover();
  EXPECT_TRUE(gateway.KeyChainSave(slot_1, recordNamed("one")));
  EXPECT_FALSE(gateway.KeyChainSave(slot_0, recordNamed("zero")));
}

TEST_F(VaneInterfaceTest, DamagedRecordIsNotSavedOver) {
  keychain.memory.items[{slot_0, "ada"}] = Bytes{1, 2, 3};
  Record read;
  ASSERT_FALSE(gateway.KeyChainLoad(slot_0, &read));
  EXPECT_FALSE(gateway.KeyChainSave(slot_0, recordNamed("intruder")));
  EXPECT_EQ(keychain.memory.items.begin()->second.get(), (Bytes{1, 2, 3}));
}

TEST_F(VaneInterfaceTest, ReadingsOfSlotsArePassedOnWithTheLoginName) {
  gateway.beginReadingSlots();
  EXPECT_EQ(keychain.readings, "begin ada;");
  gateway.endReadingSlots();
  EXPECT_EQ(keychain.readings, "begin ada;end;");
  keychain.readings.clear();
  {
    const SlotReading outer(&gateway);
    const SlotReading inner(&gateway);
  }
  EXPECT_EQ(keychain.readings, "begin ada;end;") << "one reading";
}

TEST_F(VaneInterfaceTest, AReadingHasOneIdentityAndTheNextItsOwn) {
  const auto identityOf = [&](const std::string& serial) {
    identifiers.serial = serial;
    return gateway.GetDeviceId();
  };
  const std::uint32_t first = identityOf("first");
  const std::uint32_t second = identityOf("second");
  ASSERT_NE(first, second);
  identifiers.serial = "first";
  gateway.beginReadingSlots();
  EXPECT_EQ(gateway.GetDeviceId(), first);
  EXPECT_EQ(identityOf("second"), first);
  gateway.endReadingSlots();
  EXPECT_EQ(identityOf("second"), second);
  gateway.beginReadingSlots();
  EXPECT_EQ(identityOf("second"), second);
  gateway.endReadingSlots();
}

TEST_F(VaneInterfaceTest, NothingIsTouchedWhileTheIdentityCannotBeRead) {
  ASSERT_TRUE(gateway.KeyChainSave("x", {{"desc", "one"}}));
  const std::size_t before = keychain.memory.items.size();
  identifiers.trouble = "/etc/machine-id: Permission denied";
  {
    const vaneinterface::Recording recording(gateway);
    Record record;
    EXPECT_FALSE(gateway.KeyChainLoad("x", &record));
    EXPECT_EQ(recording.lastLoad().status, KeychainStatus::not_available);
    EXPECT_EQ(
        recording.lastLoad().words,
        "This computer's identity cannot be read: /etc/machine-id: Permission denied; fix that "
        "and try again");
    EXPECT_FALSE(gateway.KeyChainSave("y", {{"desc", "two"}}));
    EXPECT_FALSE(gateway.KeyChainDelete("x"));
    EXPECT_TRUE(gateway.inTrouble());
    EXPECT_EQ(recording.failedChange()->status, KeychainStatus::not_available);
  }
  EXPECT_EQ(keychain.memory.items.size(), before);
  identifiers.trouble.clear();
  Record record;
  EXPECT_TRUE(gateway.KeyChainLoad("x", &record));
}

TEST_F(VaneInterfaceTest, RecordingHasTheIdentityOfItsBeginning) {
  ASSERT_TRUE(gateway.KeyChainSave("x", {{"desc", "one"}}));
  const std::string serial = identifiers.serial;
  const vaneinterface::Recording recording(gateway);
  identifiers.serial = "another";
  EXPECT_EQ(gateway.GetDeviceId_SN(), serial);
  EXPECT_FALSE(recording.hasSameIdentity());
  Record record;
  ASSERT_TRUE(gateway.KeyChainLoad("x", &record));
  EXPECT_EQ(recording.storedUnder().serial_number, serial);
  EXPECT_EQ(recording.storedUnder().volume_uuid, identifiers.volume);
  EXPECT_EQ(recording.storedUnder().user, identifiers.read().user);
}

TEST_F(VaneInterfaceTest, IdentifiersAreThoseOfTheSystem) {
  EXPECT_EQ(gateway.GetDeviceId_SN(), "0123456789abcdef");
  EXPECT_EQ(gateway.GetDeviceId_HDSN(), "A0B1C2D3-0000-4000-8000-00000000FFFF");
  EXPECT_EQ(gateway.GetDeviceId_USER(), "ada and more");
}

// Identities worked out by hand: character i counts (value << 4 (i mod 8)), or-ed where i is a
// multiple of 7, else xor-ed.
class IdentityTest : public testing::Test {
 protected:
  class Texts final : public DeviceIdentifiers {
   public:
    std::string serial, volume, user_text;
    Identity read() override { return {serial, volume, user_text, "ada", {}}; }
  };

  std::uint32_t of(const std::string& serial, const std::string& volume, const std::string& user) {
    texts.serial = serial;
    texts.volume = volume;
    texts.user_text = user;
    return gateway.GetDeviceId();
  }

  MemoryKeychain keychain;
  Texts texts;
  vaneinterface gateway{keychain, texts};
};

TEST_F(IdentityTest, ThreeEmptyIdentifiersGiveZeroAndAnAllZeroKey) {
  EXPECT_EQ(of("", "", ""), 0U);
  gateway.setConsole(false);
  vane::SetInterface(&gateway);
  const std::uint8_t* key = vane::GetKey();
  EXPECT_EQ(Bytes(key, key + 16), Bytes(16, 0));
  vane::SetInterface(nullptr);
}

TEST_F(IdentityTest, SerialVolumeAndUserRunTogetherInThatOrder) {
  EXPECT_EQ(of("1", "2", "3"), 0x321U);
  EXPECT_EQ(of("", "12", "3"), 0x321U);
  EXPECT_EQ(of("123", "", ""), 0x321U);
}

TEST_F(IdentityTest, UpperAndLowerCaseCountTheSame) {
  EXPECT_EQ(of("A", "", ""), 10U);
  EXPECT_EQ(of("a", "", ""), 10U);
}

TEST_F(IdentityTest, EverySeventhCharacterIsOredAndTheOthersXored) {
  // Index 7 at shift 28: the top bit is cleared. Index 8 is back at shift 0, and xor-ed.
  EXPECT_EQ(of("10000000", "1", ""), 0U);
  EXPECT_EQ(of("00000007", "", ""), 0x70000000U);
  EXPECT_EQ(of("0000000F", "", ""), 0x70000000U);
  // Index 14 at shift 24 meets index 6 there and is or-ed: 1 | 1, not 1 ^ 1.
  EXPECT_EQ(of("00000010", "0000001", ""), 0x01000000U);
}

TEST_F(IdentityTest, OtherCharactersWrapAround) {
  // "-" is 45 - 87 = -42 in 32 bits, shifted left by 4; the top bit is cleared.
  EXPECT_EQ(of("0-", "", ""), 0x7FFFFD60U);
}

// The characters beside the digits and the capitals: code - 87, the top bit cleared.
TEST_F(IdentityTest, NeighboursOfDigitsAndLettersCountAsOthers) {
  EXPECT_EQ(of("/", "", ""), 0x7FFFFFD8U);
  EXPECT_EQ(of("0", "", ""), 0U);
  EXPECT_EQ(of("9", "", ""), 9U);
  EXPECT_EQ(of(":", "", ""), 0x7FFFFFE3U);
  EXPECT_EQ(of("@", "", ""), 0x7FFFFFE9U);
  EXPECT_EQ(of("A", "", ""), 10U);
  EXPECT_EQ(of("Z", "", ""), 35U);
  EXPECT_EQ(of("[", "", ""), 4U);
}

TEST_F(IdentityTest, KeyStaysInPlaceAndTheSame) {
  of("9f", "A0", "ada");
  gateway.setConsole(false);
  vane::SetInterface(&gateway);
  const std::uint8_t* first = vane::GetKey();
  const Bytes bytes(first, first + 17);
  const std::uint8_t* second = vane::GetKey();
  EXPECT_EQ(first, second);
  EXPECT_EQ(Bytes(second, second + 17), bytes);
  EXPECT_EQ(bytes[16], 0);
  EXPECT_NE(bytes, Bytes(17, 0));
  vane::SetInterface(nullptr);
}

class LogTest : public VaneInterfaceTest {
 protected:
  LogTest() {
    talibobjc_Trace::traceSet(folder / "trace.txt");
    vane::SetInterface(&gateway);
  }
  ~LogTest() override {
    vane::SetInterface(nullptr);
    talibobjc_Trace::traceOn(false);
  }
  /// What reaches the console meanwhile.
  template <typename Work>
  std::string consoleDuring(Work work) {
    testing::internal::CaptureStderr();
    work();
    return testing::internal::GetCapturedStderr();
  }
  std::string trace() { return readFile(folder / "trace.txt"); }

  TemporaryFolder folder;
};

TEST_F(LogTest, ConsoleGetsTheTextAndALineFeed) {
  EXPECT_EQ(consoleDuring([&] { gateway.log("vane::test: 100% {} %s %n"); }),
            "vane::test: 100% {} %s %n\n");
  EXPECT_EQ(consoleDuring([&] { gateway.log(""); }), "\n");
  EXPECT_EQ(consoleDuring([&] { gateway.log(std::string_view("a\0b", 3)); }),
            std::string("a\0b\n", 4));
}

TEST_F(LogTest, TraceGetsTheSameText) {
  talibobjc_Trace::traceOn(true);
  EXPECT_EQ(consoleDuring([&] { gateway.log("  vane::x: y"); }), "  vane::x: y\n");
  EXPECT_TRUE(trace().ends_with("]   vane::x: y\r\n")) << trace();
}

TEST_F(LogTest, ConsoleCanBeSwitchedOff) {
  talibobjc_Trace::traceOn(true);
  gateway.setConsole(false);
  EXPECT_EQ(consoleDuring([&] { gateway.log("only traced"); }), "");
  EXPECT_TRUE(trace().ends_with("] only traced\r\n")) << trace();
  gateway.setConsole(true);
  EXPECT_EQ(consoleDuring([&] { gateway.log("both"); }), "both\n");
}

TEST_F(LogTest, NothingIsTracedWhileTracingIsOff) {
  EXPECT_EQ(consoleDuring([&] { gateway.log("console only"); }), "console only\n");
  EXPECT_FALSE(exists(folder / "trace.txt"));
}

TEST_F(LogTest, LinesAreWantedWhileSomeoneListens) {
  EXPECT_TRUE(gateway.wantsLog()) << "the console is on at first";
  talibobjc_Trace::traceOn(true);
  EXPECT_TRUE(gateway.wantsLog());
  gateway.setConsole(false);
  EXPECT_TRUE(gateway.wantsLog());
  talibobjc_Trace::traceOn(false);
  EXPECT_FALSE(gateway.wantsLog());
}

TEST_F(LogTest, NothingIsFormattedWhenNobodyListens) {
  int count = 0;
  gateway.setConsole(false);
  vane::log("{}", Watched{&count});
  EXPECT_EQ(count, 0);
  talibobjc_Trace::traceOn(true);
  vane::log("{}", Watched{&count});
  EXPECT_EQ(count, 1) << "formatted once for trace and console together";
}

}  // namespace
}  // namespace talvane::test
