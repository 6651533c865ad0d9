// Source interfaces and their filters.
#include <algorithm>

#include "tests/host/manager_support.h"

namespace manager_test {
namespace {

constexpr uint8_t kRx = 1;
constexpr uint8_t kTx = 2;
constexpr uint8_t kBoth = 3;
constexpr uint8_t kAddIf = 1;
constexpr uint8_t kRemoveFilter = 2;
constexpr uint8_t kAdd = 4;
constexpr uint8_t kRemove = 8;

class ManagerSource : public ManagerTest {
 protected:
  void SetUp() override { create({0, 1}); }

  uint32_t change(uint8_t operation, uint8_t direction, uint32_t if_index, const VsanList& vsans = {}) {
    return only(
        sources({.direction = direction, .operation = operation, .vsans = vsans, .ranges = {{if_index, if_index}}}));
  }
};

TEST_F(ManagerSource, IsAddedInTheDirectionsNamed) {
  EXPECT_EQ(change(kAddIf, kRx, fc(1, 1)), 0u);
  EXPECT_EQ(change(kAddIf, kTx, fc(1, 2)), 0u);
  EXPECT_EQ(change(kAddIf, kBoth, fc(1, 3)), 0u);
  EXPECT_EQ(session(0).rx, (std::vector{fc(1, 1), fc(1, 3)}));
  EXPECT_EQ(session(0).tx, (std::vector{fc(1, 2), fc(1, 3)}));
  EXPECT_TRUE(session(1).rx.empty());
}

TEST_F(ManagerSource, Operation4AddsLikeOperation1) {
  EXPECT_EQ(change(kAdd, kRx, fc(1, 1)), 0u);
  EXPECT_EQ(change(kAdd, kTx, fc(1, 1), {5}), 0u);
  EXPECT_EQ(session(0).rx, (std::vector{fc(1, 1)}));
  EXPECT_EQ(filter_of(fc(1, 1), 0, kRx), VsanList{});
  EXPECT_EQ(filter_of(fc(1, 1), 0, kTx), VsanList{5});
}

TEST_F(ManagerSource, ListsAscendWhateverTheOrder) {
  EXPECT_EQ(
      sources({.direction = kRx,
               .ranges = {{fc(2, 3), fc(2, 4)}, {fc(1, 12), fc(1, 14)}, {fcip(2), fcip(2)}, {fc(1, 1), fc(1, 1)}}})
          .interfaces,
      (Results{
          {fc(2, 3), 0}, {fc(2, 4), 0}, {fc(1, 12), 0}, {fc(1, 13), 0}, {fc(1, 14), 0}, {fcip(2), 0}, {fc(1, 1), 0}}));
  EXPECT_EQ(session(0).rx, (std::vector{fc(1, 1), fc(1, 12), fc(1, 13), fc(1, 14), fc(2, 3), fc(2, 4), fcip(2)}));
}

TEST_F(ManagerSource, AddingAgainIsDoneAndKeepsTheFilter) {
  EXPECT_EQ(change(kAddIf, kRx, fc(1, 1), {5, 6}), 0u);
  for (const uint8_t operation : Bytes{kAddIf, kAdd}) {
    EXPECT_EQ(change(operation, kRx, fc(1, 1)), 0u);
    EXPECT_EQ(filter_of(fc(1, 1), 0, kRx), (VsanList{5, 6}));
  }
}

TEST_F(ManagerSource, IsRemovedFromTheDirectionsNamed) {
  EXPECT_EQ(change(kAddIf, kBoth, fc(1, 1)), 0u);
  EXPECT_EQ(change(kRemove, kRx, fc(1, 1)), 0u);
  EXPECT_TRUE(session(0).rx.empty());
  EXPECT_EQ(session(0).tx, (std::vector{fc(1, 1)}));
  EXPECT_EQ(change(kRemove, kRx, fc(1, 1)), manager::kNotSource);
  EXPECT_EQ(change(kRemove, kBoth, fc(1, 1)), 0u);
  EXPECT_TRUE(session(0).tx.empty());
  EXPECT_EQ(change(kRemove, kBoth, fc(1, 1)), manager::kNotSource);
}

TEST_F(ManagerSource, RemovalDropsTheFilter) {
  EXPECT_EQ(change(kAddIf, kRx, fc(1, 1), {5}), 0u);
  EXPECT_EQ(change(kRemove, kRx, fc(1, 1), {7}), 0u);
  EXPECT_EQ(change(kAddIf, kRx, fc(1, 1)), 0u);
  EXPECT_EQ(filter_of(fc(1, 1), 0, kRx), VsanList{});
}

TEST_F(ManagerSource, MayServeSeveralSessions) {
  EXPECT_EQ(add_source(0, fc(1, 1)), 0u);
  EXPECT_EQ(add_source(1, fc(1, 1)), 0u);
  EXPECT_EQ(session(1).rx, (std::vector{fc(1, 1)}));
}

// ---- Filters --------------------------------------------------------------------------------------------------------

TEST_F(ManagerSource, FilterMakesItASourceAndGrows) {
  EXPECT_EQ(change(kAddIf, kRx, fc(1, 1), range(1, 10)), 0u);
  EXPECT_EQ(session(0).rx, (std::vector{fc(1, 1)}));
  EXPECT_EQ(change(kAddIf, kBoth, fc(1, 1), {20, 1000}), 0u);
  VsanList all = range(1, 10);
  all.insert({20, 1000});
  EXPECT_EQ(filter_of(fc(1, 1), 0, kRx), all);
  EXPECT_EQ(filter_of(fc(1, 1), 0, kTx), (VsanList{20, 1000}));
}

TEST_F(ManagerSource, FilterVsansAreTakenOut) {
  EXPECT_EQ(change(kAddIf, kBoth, fc(1, 1), {5, 6, 7}), 0u);
  EXPECT_EQ(change(kRemoveFilter, kRx, fc(1, 1), {6, 99}), 0u);
  EXPECT_EQ(filter_of(fc(1, 1), 0, kRx), (VsanList{5, 7}));
  EXPECT_EQ(filter_of(fc(1, 1), 0, kTx), (VsanList{5, 6, 7}));
  EXPECT_EQ(change(kRemoveFilter, kBoth, fc(1, 1), {6}), 0u);
  EXPECT_EQ(filter_of(fc(1, 1), 0, kTx), (VsanList{5, 7}));
  EXPECT_EQ(change(kRemoveFilter, kBoth, fc(1, 1), range(0, 4095)), 0u);
  EXPECT_EQ(filter_of(fc(1, 1), 0, kTx), VsanList{});
  EXPECT_EQ(session(0).rx, (std::vector{fc(1, 1)}));  // without a filter it stays a source
}

TEST_F(ManagerSource, NothingToTakeOutIsTold) {
  EXPECT_EQ(change(kRemoveFilter, kRx, fc(1, 1), {6}), manager::kNotSource);
  EXPECT_EQ(change(kAddIf, kRx, fc(1, 1), {5}), 0u);
  EXPECT_EQ(change(kRemoveFilter, kTx, fc(1, 1), {5}), manager::kNotSource);
  EXPECT_EQ(change(kRemoveFilter, kBoth, fc(1, 1), {6}), manager::kNotInFilter);
  EXPECT_EQ(change(kRemoveFilter, kBoth, fc(1, 1)), 0u);
  EXPECT_EQ(filter_of(fc(1, 1), 0, kRx), VsanList{5});
}

TEST_F(ManagerSource, FilterWithAVsanThatDoesNotExistIsRefusedForTheInterface) {
  EXPECT_EQ(change(kAddIf, kRx, fc(1, 1), {5}), 0u);
  const SourceResult result =
      sources({.direction = kRx, .vsans = {0, 5, 6, 401, 4093, 4094, 4095}, .ranges = {{fc(1, 1), fc(1, 2)}}});
  EXPECT_EQ(result.interfaces, (Results{{fc(1, 1), manager::kNoSuchVsan}, {fc(1, 2), manager::kNoSuchVsan}}));
  EXPECT_EQ(result.refused, (VsanList{0, 401, 4093, 4094, 4095}));
  EXPECT_EQ(result.overall, 0u);
  EXPECT_EQ(result.told, manager::kNoSuchVsan);
  EXPECT_EQ(session(0).rx, (std::vector{fc(1, 1)}));
  EXPECT_EQ(filter_of(fc(1, 1), 0, kRx), VsanList{5});
}

// ---- Refusals -------------------------------------------------------------------------------------------------------

TEST_F(ManagerSource, SessionThatIsNotConfiguredIsToldByEachInterface) {
  for (const uint8_t index : Bytes{2, 16, 255}) {
    const SourceResult result = sources({.index = index, .ranges = {{fc(1, 1), fc(1, 2)}, {fc(9, 9), fc(9, 9)}}});
    EXPECT_EQ(result.overall, 0u);
    EXPECT_EQ(result.told, manager::kSessionNotConfigured);
    EXPECT_EQ(result.interfaces, (Results{{fc(1, 1), manager::kSessionNotConfigured},
                                          {fc(1, 2), manager::kSessionNotConfigured},
                                          {fc(9, 9), manager::kUnknownInterface}}));
  }
}

TEST_F(ManagerSource, UnknownInterfaceIsToldForEachOperation) {
  for (const uint8_t operation : Bytes{kAddIf, kRemoveFilter, kAdd, kRemove}) {
    EXPECT_EQ(change(operation, kRx, fc(9, 99)), manager::kUnknownInterface);
  }
}

TEST_F(ManagerSource, RangeWithAnUnknownEndTellsThatEnd) {
  EXPECT_EQ(sources({.ranges = {{fc(1, 44), fc(1, 49)}}}).interfaces,
            (Results{{fc(1, 49), manager::kUnknownInterface}}));
  EXPECT_EQ(sources({.ranges = {{fc(1, 0), fc(1, 2)}}}).interfaces, (Results{{fc(1, 0), manager::kUnknownInterface}}));
  EXPECT_TRUE(session(0).rx.empty());
}

TEST_F(ManagerSource, RangeMustKeepToOneModuleAndOneType) {
  const Ranges mixed = {{fc(1, 48), fc(2, 1)},   {fc(2, 1), fc(1, 48)},      {fc(1, 1), iscsi(1, 1)},
                        {iscsi(1, 1), fc(1, 1)}, {port_channel(1), fcip(1)}, {fc(1, 2), fcip(1)}};
  Results expected;
  for (const auto& [first, last] : mixed) expected.push_back({first, manager::kMixedRange});
  EXPECT_EQ(sources({.ranges = mixed}).interfaces, expected);
  EXPECT_EQ(sources({.ranges = {{fc(1, 5), fc(1, 4)}}}).interfaces, (Results{{fc(1, 5), manager::kReversedRange}}));
  EXPECT_TRUE(session(0).rx.empty() && session(0).tx.empty());
}

TEST_F(ManagerSource, DestinationOfAnySessionIsRefused) {
  EXPECT_EQ(set_destination(0, fc(1, 1)), 0u);
  EXPECT_EQ(set_destination(1, fc(1, 2)), 0u);
  EXPECT_EQ(change(kAddIf, kRx, fc(1, 1)), manager::kIsDestination);
  EXPECT_EQ(change(kAdd, kTx, fc(1, 2)), manager::kIsDestination);
}

TEST_F(ManagerSource, MemberOfAPortChannelIsRefused) {
  EXPECT_EQ(change(kAddIf, kRx, fc(1, 45)), manager::kMemberOfPortChannel);
  EXPECT_EQ(change(kAdd, kTx, fc(1, 47)), manager::kMemberOfPortChannel);
}

TEST_F(ManagerSource, PortInASpanModeIsRefused) {
  make_destination_port(fc(1, 1));
  EXPECT_EQ(change(kAddIf, kRx, fc(1, 1)), manager::kPortModeNotNormal);
  EXPECT_EQ(change(kAddIf, kRx, fc(2, 48)), manager::kPortModeNotNormal);
}

TEST_F(ManagerSource, EachTypeHasItsSourceType) {
  const std::pair<uint32_t, uint8_t> good[] = {{fc(1, 1), 1},        {fcip(1), 1},           {iscsi(1, 1), 1},
                                               {port_channel(2), 1}, {port_channel(201), 1}, {svc(2, 2), 1},
                                               {port_channel(1), 2}, {inband(0), 7}};
  for (const auto& [if_index, fitting] : good) {
    for (const uint8_t type : Bytes{1, 2, 7}) {
      const uint32_t expected = type == fitting ? 0 : manager::kOtherSourceType;
      for (const uint8_t operation : Bytes{kAddIf, kRemoveFilter, kRemove}) {
        EXPECT_EQ(only(sources({.operation = operation, .type = type, .ranges = {{if_index, if_index}}})), expected)
            << std::hex << if_index << " as type " << int{type} << ", operation " << int{operation};
      }
    }
  }
}

TEST_F(ManagerSource, OtherTypesAreNeverASource) {
  for (const uint8_t type : Bytes{1, 2, 7}) EXPECT_EQ(add_source(0, tunnel(1), kRx, type), manager::kCannotBeSource);
  EXPECT_EQ(add_source(0, inband(1), kRx, 7), manager::kNotActiveInband);
  EXPECT_EQ(change(kAddIf, kRx, svc(2, 3)), manager::kNoServiceChannel);
}

TEST_F(ManagerSource, PartOfARequestIsDone) {
  EXPECT_EQ(set_destination(1, fc(1, 2)), 0u);
  const SourceResult result = sources({.direction = kRx, .ranges = {{fc(1, 1), fc(1, 3)}, {fc(1, 44), fc(1, 45)}}});
  EXPECT_EQ(result.interfaces, (Results{{fc(1, 1), 0},
                                        {fc(1, 2), manager::kIsDestination},
                                        {fc(1, 3), 0},
                                        {fc(1, 44), 0},
                                        {fc(1, 45), manager::kMemberOfPortChannel}}));
  EXPECT_EQ(result.overall, 0u);
  EXPECT_EQ(result.told, manager::kIsDestination);
  EXPECT_EQ(session(0).rx, (std::vector{fc(1, 1), fc(1, 3), fc(1, 44)}));
}

TEST_F(ManagerSource, RequestsThatMakeNoSenseAreRefusedAsAWhole) {
  const SourceRequest plain = {.ranges = {{fc(1, 1), fc(1, 1)}}};
  const auto overall = [this](const SourceRequest& request) {
    const SourceResult result = sources(request);
    EXPECT_TRUE(result.interfaces.empty());
    EXPECT_TRUE(result.refused.empty());
    EXPECT_EQ(result.told, result.overall);
    return result.overall;
  };
  for (const uint8_t direction : Bytes{0, 4, 255}) {
    SourceRequest request = plain;
    request.direction = direction;
    EXPECT_EQ(overall(request), manager::kWrongDirection);
  }
  for (const uint8_t operation : Bytes{0, 3, 5, 16, 32, 255}) {
    SourceRequest request = plain;
    request.operation = operation;
    EXPECT_EQ(overall(request), manager::kUnknownOperation);
  }
  for (const uint8_t type : Bytes{0, 4, 5, 8, 255}) {
    SourceRequest request = plain;
    request.type = type;
    EXPECT_EQ(overall(request), manager::kUnknownSourceType);
  }
  EXPECT_EQ(overall({}), manager::kNoInterfaces);
  EXPECT_TRUE(session(0).rx.empty());
}

TEST_F(ManagerSource, SessionHasRoomFor64InADirection) {
  EXPECT_EQ(sources({.direction = kRx, .ranges = {{fc(1, 1), fc(1, 44)}, {fc(2, 1), fc(2, 19)}}}).told, 0u);
  const SourceResult result = sources({.direction = kRx, .ranges = {{fc(2, 18), fc(2, 22)}}});
  EXPECT_EQ(result.interfaces, (Results{{fc(2, 18), 0},
                                        {fc(2, 19), 0},
                                        {fc(2, 20), 0},
                                        {fc(2, 21), manager::kTooManySources},
                                        {fc(2, 22), manager::kTooManySources}}));
  EXPECT_EQ(session(0).rx.size(), 64u);
  EXPECT_EQ(change(kAddIf, kRx, fc(2, 20), {5}), 0u);  // one that is there needs no room
  EXPECT_EQ(change(kAddIf, kBoth, fc(2, 21)), manager::kTooManySources);
  EXPECT_TRUE(session(0).tx.empty());  // both directions or none
  EXPECT_EQ(change(kAddIf, kTx, fc(2, 21)), 0u);
  EXPECT_EQ(change(kRemove, kRx, fc(1, 1)), 0u);
  EXPECT_EQ(change(kAddIf, kBoth, fc(2, 21)), 0u);
}

}  // namespace
}  // namespace manager_test
