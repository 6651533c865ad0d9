// The subtree of PORT-MIRROR-MIB as Net-SNMP calls it: requests in, answers and errors out, phase by phase.
#include "host/agent/mirror.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <utility>
#include <vector>

#include "tests/agent/smon_support.h"

namespace {

using agent::Oid;
using agent::Value;
using agent_test::fc;

// Net-SNMP without a line to anybody.
void register_once() {
  static const bool registered = [] {
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
    netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_ROLE, 1);
    snmp_disable_log();
    return init_agent("agent_tests") == 0 && agent::register_mirror();
  }();
  ASSERT_TRUE(registered);
}

// One request of several variables, for one transaction.
class Transaction {
 public:
  explicit Transaction(std::initializer_list<std::pair<Oid, Value>> variables) : requests_(variables.size()) {
    for (const auto& [arcs, value] : variables) add(agent::below_mib(arcs), value);
    for (size_t i = 0; i + 1 < requests_.size(); ++i) requests_[i].next = &requests_[i + 1];
  }
  ~Transaction() {
    snmp_free_varbind(list_);
    netsnmp_free_all_list_data(info_.agent_data);
  }

  // The first error, 0 when there is none, and the variable that has it.
  int run(int mode) {
    info_.mode = mode;
    netsnmp_subtree* const subtree = netsnmp_subtree_find(list_->name, list_->name_length, nullptr, "");
    for (netsnmp_request_info& request : requests_) request.status = 0;
    netsnmp_call_handlers(subtree->reginfo, &info_, requests_.data());
    for (failed_ = 0; failed_ < requests_.size(); ++failed_) {
      if (requests_[failed_].status != 0) return requests_[failed_].status;
    }
    return 0;
  }

  size_t failed() const { return failed_; }
  const netsnmp_variable_list& answer() const { return *list_; }

 private:
  void add(const Oid& name, const Value& value) {
    netsnmp_variable_list* variable = nullptr;
    if (value.type == ASN_OCTET_STR) {
      variable = snmp_varlist_add_variable(&list_, name.data(), name.size(), value.type, value.octets.data(),
                                           value.octets.size());
    } else {
      const long number = value.number;
      const size_t length = value.type == ASN_NULL ? 0 : sizeof number;
      variable = snmp_varlist_add_variable(&list_, name.data(), name.size(), value.type, &number, length);
    }
    netsnmp_request_info& request = requests_[added_++];
    request.requestvb = variable;
    request.agent_req_info = &info_;
  }

  netsnmp_agent_request_info info_{};
  netsnmp_variable_list* list_ = nullptr;
  std::vector<netsnmp_request_info> requests_;
  size_t added_ = 0;
  size_t failed_ = 0;
};

const Oid kThreshold = {1, 5, 1, 0};

std::pair<Oid, Value> row_status(oid session, uint32_t value) { return {{1, 1, 1, 6, session}, agent::integer(value)}; }

class MirrorSubtree : public agent_test::SwitchTest {
 protected:
  MirrorSubtree() { register_once(); }

  static bool configured(uint32_t session) { return host::configuration().sessions[session - 1].configured; }
};

TEST_F(MirrorSubtree, AnswersAGet) {
  Transaction get({{kThreshold, {}}});
  EXPECT_EQ(get.run(MODE_GET), 0);
  EXPECT_EQ(get.answer().type, ASN_UNSIGNED);
  EXPECT_EQ(*get.answer().val.integer, 1024);
}

TEST_F(MirrorSubtree, TellsWhatIsMissing) {
  Transaction instance({{{1, 1, 1, 6, 3}, {}}});
  instance.run(MODE_GET);
  EXPECT_EQ(instance.answer().type, SNMP_NOSUCHINSTANCE);
  Transaction object({{{1, 1, 1, 9, 3}, {}}});
  object.run(MODE_GET);
  EXPECT_EQ(object.answer().type, SNMP_NOSUCHOBJECT);
}

TEST_F(MirrorSubtree, AnswersAGetNextAndLeavesItsEndToOthers) {
  Transaction next({{{1, 5}, {}}});
  EXPECT_EQ(next.run(MODE_GETNEXT), 0);
  EXPECT_EQ(agent::name_of(next.answer()), agent::below_mib(kThreshold));
  Transaction end({{kThreshold, {}}});
  EXPECT_EQ(end.run(MODE_GETNEXT), 0);
  EXPECT_EQ(end.answer().type, ASN_NULL);
}

TEST_F(MirrorSubtree, IsAnErrorWithoutTheManager) {
  host::set_manager_reachable(false);
  EXPECT_EQ(Transaction({{kThreshold, {}}}).run(MODE_GET), SNMP_ERR_GENERR);
  EXPECT_EQ(Transaction({{{1}, {}}}).run(MODE_GETNEXT), SNMP_ERR_GENERR);
}

TEST_F(MirrorSubtree, ChangesNothingBeforeTheAction) {
  Transaction set({row_status(3, 4)});
  EXPECT_EQ(set.run(MODE_SET_RESERVE1), 0);
  EXPECT_EQ(set.run(MODE_SET_RESERVE2), 0);
  EXPECT_FALSE(configured(3));
  EXPECT_EQ(set.run(MODE_SET_FREE), 0);
  EXPECT_FALSE(configured(3));
}

TEST_F(MirrorSubtree, MakesAChangeForGood) {
  Transaction set({row_status(3, 4), row_status(4, 4)});
  for (const int mode : {MODE_SET_RESERVE1, MODE_SET_RESERVE2, MODE_SET_ACTION, MODE_SET_COMMIT}) {
    EXPECT_EQ(set.run(mode), 0) << mode;
  }
  EXPECT_TRUE(configured(3) && configured(4));
}

TEST_F(MirrorSubtree, TakesAChangeBackWhenOthersRefuseTheirs) {
  Transaction set({row_status(3, 4)});
  for (const int mode : {MODE_SET_RESERVE1, MODE_SET_RESERVE2, MODE_SET_ACTION}) set.run(mode);
  EXPECT_TRUE(configured(3));
  EXPECT_EQ(set.run(MODE_SET_UNDO), 0);
  EXPECT_FALSE(configured(3));
}

TEST_F(MirrorSubtree, TellsThatAChangeCannotBeTakenBack) {
  Transaction set({row_status(3, 4)});
  for (const int mode : {MODE_SET_RESERVE1, MODE_SET_RESERVE2, MODE_SET_ACTION}) set.run(mode);
  host::set_manager_reachable(false);
  EXPECT_EQ(set.run(MODE_SET_UNDO), SNMP_ERR_UNDOFAILED);
}

TEST_F(MirrorSubtree, NamesTheVariableThatIsAtFault) {
  Transaction unknown({row_status(3, 4), {{1, 1, 1, 4, 3}, agent::integer(1)}});
  EXPECT_EQ(unknown.run(MODE_SET_RESERVE1), SNMP_ERR_NOTWRITABLE);
  EXPECT_EQ(unknown.failed(), 1u);

  Transaction absent({row_status(3, 4), row_status(4, 1)});
  EXPECT_EQ(absent.run(MODE_SET_RESERVE1), 0);
  EXPECT_EQ(absent.run(MODE_SET_RESERVE2), SNMP_ERR_INCONSISTENTVALUE);
  EXPECT_EQ(absent.failed(), 1u);

  Transaction refused({row_status(3, 4), {kThreshold, agent::unsigned32(0)}, {{1, 1, 1, 3, 3}, agent::integer(2)}});
  EXPECT_EQ(refused.run(MODE_SET_RESERVE1), 0);
  EXPECT_EQ(refused.run(MODE_SET_RESERVE2), 0);
  EXPECT_EQ(refused.run(MODE_SET_ACTION), SNMP_ERR_WRONGVALUE);
  EXPECT_EQ(refused.failed(), 1u);
  EXPECT_EQ(refused.run(MODE_SET_UNDO), 0);
  EXPECT_FALSE(configured(3));
}

TEST_F(MirrorSubtree, TakesVsansAndSources) {
  Transaction set(
      {row_status(3, 4), {{1, 3, 1, 1, 3}, agent::octets("\x40")}, {{1, 2, 1, 3, 3, fc(1, 3), 2}, agent::integer(4)}});
  for (const int mode : {MODE_SET_RESERVE1, MODE_SET_RESERVE2, MODE_SET_ACTION, MODE_SET_COMMIT}) {
    EXPECT_EQ(set.run(mode), 0) << mode;
  }
  EXPECT_TRUE(host::configuration().sessions[2].source_vsans.test(1));
  EXPECT_TRUE(host::configuration().sessions[2].sources[1].contains(fc(1, 3)));
}

}  // namespace
