#include <kxbase/source_position.h>

#include <gmock/gmock.h>

#include <string_view>

namespace {

kxbase::source_position asked_for(kxbase::source_position where = kxbase::source_position::current()) {
    return where;
}

TEST(source_position, is_the_place_of_the_call) {
    kxbase::source_position const first = asked_for();
    kxbase::source_position const second = asked_for();

    EXPECT_EQ(second.line(), first.line() + 1);
    EXPECT_TRUE(std::string_view(first.file_name()).ends_with("source_position_test.cpp"));
}

} // namespace
