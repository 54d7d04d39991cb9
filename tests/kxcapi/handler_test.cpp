#include <kxcapi/handler.h>

#include <kxcapi/job.h>

#include <kxnet/packet.h>

#include <gtest/gtest.h>

namespace {

TEST(handler, need_not_care_about_anything) {
    struct careless : kxcapi::state_handler {
    } told;
    kxp::packet const event(3, "e");
    EXPECT_NO_THROW({
        told.event(event);
        told.closed("why");
        told.job_changed({});
        told.job_removed({});
        told.state_complete();
    });
}

} // namespace
