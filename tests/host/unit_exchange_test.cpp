// SPDX-License-Identifier: MIT
// Units that are read ahead and written behind: what happens while another one is computed.

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <numeric>
#include <string>
#include <vector>

#include "report/deferred_messages.h"
#include "report/recorded_messages.h"
#include "report/user_error.h"
#include "restoration/blocks/unit_exchange.h"
#include "support/restore_scene.h"

namespace rydecon {
namespace {

constexpr Extent kUnit = {4, 3, 2};
constexpr std::size_t kPlane = 12;
using Names = std::vector<std::string>;

/// What happened, in its order, whatever thread it happened on.
class Events {
  public:
    void Add(const std::string& what) {
        const std::lock_guard lock(guard_);
        names_.push_back(what);
        added_.notify_all();
    }
    /// Until it has happened; false where it does not within a minute.
    bool Wait(const std::string& what) {
        std::unique_lock lock(guard_);
        return added_.wait_for(lock, std::chrono::minutes(1),
                               [&] { return std::find(names_.begin(), names_.end(), what) != names_.end(); });
    }
    Names All() {
        const std::lock_guard lock(guard_);
        return names_;
    }

  private:
    std::mutex guard_;
    std::condition_variable added_;
    Names names_;
};

std::string PlaneOf(const std::string& verb, int unit, int k) {
    return verb + " " + std::to_string(unit) + "." + std::to_string(k);
}

/// Sample n of plane k of a unit is 100 unit + 20 k + n.
class CountingUnits final : public UnitSource {
  public:
    explicit CountingUnits(Events& events) : events_(events) {}
    Extent ShapeOf(int /*unit*/) const override { return kUnit; }
    void ReadPlane(int unit, int k, float* rows, std::ptrdiff_t rowStride) override {
        if (unit == broken) throw UserError("unit " + std::to_string(unit) + " is broken");
        for (int n = 0; n < 12; ++n)
            rows[(n / 4) * rowStride + n % 4] = static_cast<float>(100 * unit + 20 * k + n);
        events_.Add(PlaneOf("read", unit, k));
    }
    int broken = -1;

  private:
    Events& events_;
};

std::vector<float> Plane(PlaneSource& from, int k) {
    std::vector<float> samples(kPlane);
    from.ReadPlane(k, samples.data(), 4);
    return samples;
}

std::vector<float> Counted(int unit, int k) {
    std::vector<float> samples(kPlane);
    std::iota(samples.begin(), samples.end(), static_cast<float>(100 * unit + 20 * k));
    return samples;
}

class UnitReading : public ::testing::Test {
  protected:
    Events events_;
    CountingUnits units_{events_};
    UnitReader reader_{units_};
};

TEST_F(UnitReading, TheNextUnitIsReadWhileTheOneBeforeIsComputed) {
    reader_.Take(0, RoomOf(kUnit));
    EXPECT_EQ(Plane(reader_, 1), Counted(0, 1));
    EXPECT_EQ(Plane(reader_, 0), Counted(0, 0));
    reader_.ReadAhead(1);
    EXPECT_TRUE(events_.Wait("read 1.1")) << "the computation on unit 0 lasts until this has happened";
    events_.Add("computed 0");
    reader_.Take(1, RoomOf(kUnit));
    EXPECT_EQ(Plane(reader_, 0), Counted(1, 0));
    EXPECT_EQ(Plane(reader_, 1), Counted(1, 1));
    reader_.ReadAhead(std::nullopt);
    EXPECT_EQ(events_.All(), (Names{"read 0.0", "read 0.1", "read 1.0", "read 1.1", "computed 0"}))
        << "each plane is read once";
}

TEST_F(UnitReading, WithoutRoomPlanesAreReadAsTheyAreAskedFor) {
    reader_.Take(0, 0);
    Plane(reader_, 0);
    reader_.ReadAhead(1);
    EXPECT_EQ(reader_.Held(), 0U);
    reader_.Take(1, 0);
    EXPECT_EQ(Plane(reader_, 1), Counted(1, 1));
    EXPECT_EQ(events_.All(), (Names{"read 0.0", "read 1.1"}));
}

TEST_F(UnitReading, HoldsOneUnitAndNoneBehindTheLast) {
    reader_.Take(0, RoomOf(kUnit));
    EXPECT_EQ(reader_.Held(), 4 * RoomOf(kUnit));
    reader_.ReadAhead(1);
    EXPECT_EQ(reader_.Held(), 4 * RoomOf(kUnit));
    EXPECT_EQ(events_.All().size(), 4U) << "it is read by then";
    reader_.Take(1, RoomOf(kUnit));
    reader_.ReadAhead(std::nullopt);
    EXPECT_EQ(reader_.Held(), 0U);
    EXPECT_EQ(Plane(reader_, 1), Counted(1, 1)) << "from the source";
}

TEST_F(UnitReading, ALoadedUnitCanBeReadAgain) {
    reader_.Take(0, RoomOf(kUnit));
    reader_.ReadAhead(1);
    EXPECT_EQ(Plane(reader_, 0), Counted(0, 0));
    reader_.Take(1, RoomOf(kUnit));
    EXPECT_EQ(Plane(reader_, 0), Counted(1, 0));
}

TEST_F(UnitReading, RoomMayGoBetweenUnits) {
    reader_.Take(0, RoomOf(kUnit));
    reader_.ReadAhead(1);
    reader_.Take(1, 0);
    EXPECT_EQ(reader_.Held(), 0U);
    EXPECT_EQ(Plane(reader_, 1), Counted(1, 1));
}

TEST_F(UnitReading, AUnitThatCannotBeReadIsToldWhenItsTurnComes) {
    units_.broken = 1;
    reader_.Take(0, RoomOf(kUnit));
    reader_.ReadAhead(1);
    EXPECT_EQ(Plane(reader_, 0), Counted(0, 0)) << "unit 0 is sound";
    try {
        reader_.Take(1, RoomOf(kUnit));
        ADD_FAILURE() << "a broken unit was taken";
    } catch (const UserError& error) {
        EXPECT_EQ(std::string(error.what()), "unit 1 is broken");
    }
    units_.broken = -1;
    reader_.Take(1, RoomOf(kUnit));
    EXPECT_EQ(Plane(reader_, 0), Counted(1, 0)) << "nothing of the failed reading stays";
}

TEST_F(UnitReading, ABrokenUnitThatIsNotTakenIsNoError) {
    units_.broken = 1;
    reader_.Take(0, RoomOf(kUnit));
    reader_.ReadAhead(1);
    reader_.Take(2, RoomOf(kUnit));
    EXPECT_EQ(Plane(reader_, 0), Counted(2, 0));
}

/// Takes planes once it may.
class GuardedPlanes final : public PlaneSink {
  public:
    GuardedPlanes(Events& events, int unit, bool broken = false)
        : events_(events), unit_(unit), broken_(broken) {}
    void WritePlane(int k, const float* rows, std::ptrdiff_t rowStride) override {
        EXPECT_TRUE(waitsFor.empty() || events_.Wait(waitsFor));
        if (broken_) throw UserError("the disk is full");
        for (int n = 0; n < 12; ++n) samples.push_back(rows[(n / 4) * rowStride + n % 4]);
        events_.Add(PlaneOf("wrote", unit_, k));
    }
    std::string waitsFor;
    std::vector<float> samples;

  private:
    Events& events_;
    int unit_;
    bool broken_;
};

class UnitWriting : public ::testing::Test {
  protected:
    UnitWriting() : parts_(folder_.path() / "out.tif", false, quiet_), writer_(parts_) { parts_.Open(); }

    static PieceHead Head(int unit) { return {static_cast<unsigned>(unit), 0, {1, 1, 1}, kUnit, "any"}; }
    /// Hands a unit over, rows five samples apart.
    void Put(int unit, std::shared_ptr<PlaneSink> also, std::size_t room) {
        writer_.Begin(Head(unit), std::move(also), room);
        for (int k = 0; k < 2; ++k) {
            std::vector<float> rows(15, -1.0f);
            const std::vector<float> plane = Counted(unit, k);
            for (std::size_t n = 0; n < kPlane; ++n) rows[n / 4 * 5 + n % 4] = plane[n];
            writer_.WritePlane(k, rows.data(), 5);
        }
        writer_.End({7, EndOfRun::Limit});
    }
    Names Files() const {
        Names names;
        for (const auto& entry : std::filesystem::directory_iterator(parts_.path()))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }
    void ExpectPiece(int unit) {
        ASSERT_TRUE(parts_.Has(Head(unit)));
        PieceReader piece = parts_.Read(Head(unit));
        for (int k = 0; k < 2; ++k) {
            std::vector<float> plane(kPlane);
            piece.ReadPlane(plane.data());
            EXPECT_EQ(plane, Counted(unit, k));
        }
    }

    const Messages quiet_{true};
    Events events_;
    test::TemporaryFolder folder_;
    PartFolder parts_;
    UnitWriter writer_;
};

TEST_F(UnitWriting, TheLastUnitIsWrittenWhileTheNextOneIsComputed) {
    const auto first = std::make_shared<GuardedPlanes>(events_, 0);
    first->waitsFor = "computing 1";
    Put(0, first, RoomOf(kUnit));
    EXPECT_EQ(writer_.Held(), 4 * RoomOf(kUnit));
    events_.Add("computing 1");
    EXPECT_TRUE(events_.Wait("wrote 0.1")) << "the computation on unit 1 lasts until this has happened";
    events_.Add("computed 1");
    const auto second = std::make_shared<GuardedPlanes>(events_, 1);
    Put(1, second, RoomOf(kUnit));
    writer_.Wait();
    EXPECT_EQ(events_.All(),
              (Names{"computing 1", "wrote 0.0", "wrote 0.1", "computed 1", "wrote 1.0", "wrote 1.1"}));
    for (int unit = 0; unit < 2; ++unit) ExpectPiece(unit);
    std::vector<float> both = Counted(1, 0);
    const std::vector<float> more = Counted(1, 1);
    both.insert(both.end(), more.begin(), more.end());
    EXPECT_EQ(second->samples, both);
    writer_.Release();
    EXPECT_EQ(writer_.Held(), 0U);
}

TEST_F(UnitWriting, WithoutRoomAUnitIsWrittenAtOnce) {
    Put(0, std::make_shared<GuardedPlanes>(events_, 0), 0);
    EXPECT_EQ(events_.All(), (Names{"wrote 0.0", "wrote 0.1"}));
    EXPECT_EQ(writer_.Held(), 0U);
    ExpectPiece(0);
    Put(1, nullptr, 0);
    ExpectPiece(1);
}

TEST_F(UnitWriting, WhatCannotBeWrittenIsToldOnceAndLeavesNoPiece) {
    Put(0, nullptr, RoomOf(kUnit));
    const auto broken = std::make_shared<GuardedPlanes>(events_, 1, true);
    broken->waitsFor = "computing 2";
    Put(1, broken, RoomOf(kUnit));
    writer_.Begin(Head(2), nullptr, RoomOf(kUnit));
    events_.Add("computing 2");
    const std::vector<float> plane(kPlane);
    EXPECT_THROW(writer_.WritePlane(0, plane.data(), 4), UserError);
    writer_.Wait();
    EXPECT_EQ(Files(), (Names{"volume-0000-block-00000.piece"}));
    EXPECT_FALSE(parts_.Has(Head(1)));
}

TEST(DeferredMessages, WaitForTheThreadThatAsks) {
    const Messages quiet(true);
    const RecordedMessages record(quiet);
    const DeferredMessages messages(record);
    messages.Note("own");
    std::thread([&] {
        messages.Note("first of another");
        messages.Note("second of another");
    }).join();
    EXPECT_EQ(record.lines(), (Names{"own"}));
    messages.PassOn();
    EXPECT_EQ(record.lines(), (Names{"own", "first of another", "second of another"}));
    messages.PassOn();
    EXPECT_EQ(record.lines().size(), 3U);
}

}  // namespace
}  // namespace rydecon
