#include <kxworkflow/task_status.h>

namespace kxworkflow {

namespace {

struct status_constraints {
    task_status any_end =
        kxbase::make_refcount<kxcore::constraint_enum>("succeeded|failed|pre_start_fail|cancelled|invalid_pre_reqs");
    task_status failure =
        kxbase::make_refcount<kxcore::constraint_enum>("failed|pre_start_fail|cancelled|invalid_pre_reqs");
    task_status success = kxbase::make_refcount<kxcore::constraint_enum>("succeeded");
};

status_constraints const& shared_constraints() {
    static status_constraints const constraints;
    return constraints;
}

// Makes them when the library is loaded. The function is there for who asks while other libraries are being loaded.
[[maybe_unused]] status_constraints const& made_at_load = shared_constraints();

} // namespace

task_status const& any_end_state() {
    return shared_constraints().any_end;
}

task_status const& failure_end_states() {
    return shared_constraints().failure;
}

task_status const& success_end_state() {
    return shared_constraints().success;
}

} // namespace kxworkflow
