// A search in a process that is short of memory: the functions that new stands for are this executable's own.
#include "kxnet/support/searching.h"
#include "support/captured_report.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

// The size of which the next object cannot be made; 0 for none.
std::atomic<std::size_t> refused_size =
    0; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables): new looks there

class search_without_memory : public kx_test::searching {};

} // namespace

void* operator new(std::size_t size) {
    auto expected = size;
    bool const is_refused = size != 0 && refused_size.compare_exchange_strong(expected, 0);
    void* const made =
        is_refused ? nullptr : std::malloc(size); // NOLINT(cppcoreguidelines-no-malloc): it is new itself
    if (made == nullptr) throw std::bad_alloc();
    return made;
}

void operator delete(void* deleted) noexcept {
    std::free(deleted); // NOLINT(cppcoreguidelines-no-malloc)
}

void operator delete(void* deleted, std::size_t) noexcept {
    std::free(deleted); // NOLINT(cppcoreguidelines-no-malloc)
}

TEST_F(search_without_memory, begins_anew_when_there_is_none_for_an_instance) {
    using kx_test::scripted_dnssd;
    kx_test::captured_report const report;
    search();
    place("n1", "t");
    place("n2", "t");
    come("n1");
    expect("resolved n1 on 1: n1.local. 9000 10.0.0.1 t");
    dnssd_.always_give(
        browsing, scripted_dnssd::all({scripted_dnssd::instance("n1", true), scripted_dnssd::instance("n2", true)}));
    refused_size = sizeof(kxnet::searched_service);
    come("n2");
    expect("resolved n2 on 1: n2.local. 9000 10.0.0.1 t");
    EXPECT_EQ(refused_size, 0U) << "it was refused";
    EXPECT_EQ(handler_.log.count("seen n2 on 1"), 1U);
    EXPECT_EQ(handler_.log.count("gone n1 on 1"), 0U);
    EXPECT_THAT(report.messages(), testing::ElementsAre("browsing for _t._tcp failed and begins anew: std::bad_alloc",
                                                        "browsing for _t._tcp goes on"));
}
