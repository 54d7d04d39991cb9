#include <kxbase/ptr_refcount.h>

#include <gmock/gmock.h>

#include <array>
#include <set>
#include <string>
#include <thread>
#include <type_traits>
#include <unordered_set>
#include <utility>
#include <vector>

using kxbase::make_refcount;
using kxbase::object_refcount;
using kxbase::ptr_refcount;

namespace {

class counted : public object_refcount {
public:
    counted() { ++alive; }
    explicit counted(int given) : value(given) { ++alive; }
    counted(counted const& other) : object_refcount(other), value(other.value) { ++alive; }
    counted(counted&&) = delete;
    counted& operator=(counted const& other) = default;
    counted& operator=(counted&&) = delete;
    ~counted() override { --alive; }

    int value = 0;
    static inline int alive = 0;
};

class derived : public counted {
public:
    using counted::counted;
};

class other_base {
public:
    other_base() = default;
    other_base(other_base const&) = delete;
    other_base& operator=(other_base const&) = delete;
    virtual ~other_base() = default;
    int first = 1;
};

class two_bases : public other_base, public counted {};

class with_payload : public object_refcount {
public:
    [[nodiscard]] static ptr_refcount<with_payload> create(std::string text) {
        return ptr_refcount<with_payload>::adopt(new with_payload(std::move(text) + ", made by create"));
    }
    std::string text;

private:
    explicit with_payload(std::string given) : text(std::move(given)) {}
};

/// A chain of any length, taken apart without recursion.
class chain_link : public object_refcount {
public:
    ptr_refcount<chain_link> next;

protected:
    void dispose() const noexcept override {
        ptr_refcount<chain_link> rest = std::move(const_cast<chain_link*>(this)->next);
        delete this;
        while (rest && !rest->is_shared())
            rest = ptr_refcount<chain_link>(std::exchange(rest->next, nullptr));
    }
};

class handles : public testing::Test {
protected:
    handles() { counted::alive = 0; }
};

static_assert(sizeof(kxbase::ptr_refcount<counted>) == sizeof(void*));
static_assert(sizeof(object_refcount) == 16);
static_assert(std::is_nothrow_move_constructible_v<kxbase::ptr_refcount<counted>>);
static_assert(std::is_convertible_v<kxbase::ptr_refcount<derived>, kxbase::ptr_refcount<counted const>>);
static_assert(!std::is_convertible_v<kxbase::ptr_refcount<counted const>, kxbase::ptr_refcount<counted>>);
static_assert(!std::is_constructible_v<kxbase::ptr_refcount<derived>, kxbase::ptr_refcount<counted>>);
static_assert(!std::is_convertible_v<counted*, kxbase::ptr_refcount<counted>>, "raw pointers are never taken over");

struct one_more_int : object_refcount {
    int value = 0;
};
static_assert(sizeof(one_more_int) == 16, "the last four bytes of the header are free for a derived class");

} // namespace

TEST_F(handles, an_object_is_born_with_one_reference_and_dies_with_its_last) {
    auto first = make_refcount<counted>(7);
    EXPECT_EQ(first->value, 7);
    EXPECT_EQ(first->reference_count(), 1u);
    EXPECT_FALSE(first->is_shared());
    {
        auto const second = first;
        EXPECT_EQ(first->reference_count(), 2u);
        EXPECT_TRUE(first->is_shared());
    }
    EXPECT_EQ(first->reference_count(), 1u);
    first.reset();
    EXPECT_EQ(counted::alive, 0);
}

TEST_F(handles, retain_and_release_work_on_const_objects) {
    auto const handle = make_refcount<counted const>(1);
    handle->retain();
    EXPECT_EQ(handle->reference_count(), 2u);
    handle->release();
    EXPECT_EQ(handle->reference_count(), 1u);
}

TEST_F(handles, may_be_empty) {
    kxbase::ptr_refcount<counted> const none;
    kxbase::ptr_refcount<counted> const null = nullptr;
    EXPECT_FALSE(none);
    EXPECT_EQ(none.get(), nullptr);
    EXPECT_TRUE(none == nullptr);
    EXPECT_TRUE(none == null);
    kxbase::ptr_refcount<counted> const copy = none;
    EXPECT_FALSE(copy);
    EXPECT_FALSE(kxbase::ptr_refcount<counted>(static_cast<counted*>(nullptr)));
}

TEST_F(handles, moving_leaves_the_source_empty_and_the_count_alone) {
    auto source = make_refcount<derived>(3);
    kxbase::ptr_refcount<counted const> target = std::move(source);
    EXPECT_FALSE(source); // NOLINT(bugprone-use-after-move): what is tested
    EXPECT_EQ(target->reference_count(), 1u);
    kxbase::ptr_refcount<counted const> assigned;
    assigned = std::move(target);
    EXPECT_EQ(assigned->reference_count(), 1u);
    EXPECT_EQ(assigned->value, 3);
}

TEST_F(handles, reassignment_releases_what_was_held) {
    auto handle = make_refcount<counted>(1);
    handle = make_refcount<counted>(2);
    EXPECT_EQ(counted::alive, 1);
    auto const& itself = handle;
    handle = itself;
    EXPECT_EQ(handle->value, 2);
    EXPECT_EQ(handle->reference_count(), 1u);
    auto const other = make_refcount<counted>(3);
    handle.reset(other.get());
    EXPECT_EQ(handle, other);
    EXPECT_EQ(counted::alive, 1);
    handle = nullptr;
    EXPECT_FALSE(handle);
}

TEST_F(handles, a_raw_pointer_is_retained_not_taken_over) {
    auto const handle = make_refcount<counted>(5);
    kxbase::ptr_refcount<counted> const again(handle.get());
    EXPECT_EQ(handle->reference_count(), 2u);
}

TEST_F(handles, handles_to_an_object_on_the_stack_never_delete_it) {
    counted const local(9);
    {
        kxbase::ptr_refcount<counted const> const handle(&local);
        EXPECT_EQ(handle->value, 9);
    }
    EXPECT_EQ(local.reference_count(), 1u);
    EXPECT_EQ(counted::alive, 1);
}

TEST_F(handles, a_copied_object_starts_a_fresh_count) {
    auto const original = make_refcount<counted>(4);
    auto const second = original;
    counted copy(*original);
    EXPECT_EQ(copy.value, 4);
    EXPECT_EQ(copy.reference_count(), 1u);
    copy = *original;
    EXPECT_EQ(copy.reference_count(), 1u);
    EXPECT_EQ(original->reference_count(), 2u);
}

TEST_F(handles, converts_to_bases_wherever_they_lie) {
    auto const handle = make_refcount<two_bases>();
    kxbase::ptr_refcount<counted> const base = handle;
    kxbase::ptr_refcount<object_refcount const> const root = base;
    EXPECT_EQ(handle->reference_count(), 3u);
    EXPECT_EQ(base.get(), static_cast<counted*>(handle.get()));
    EXPECT_EQ(root.get(), static_cast<object_refcount*>(handle.get()));
}

TEST_F(handles, casts_down_where_the_object_is_of_that_class) {
    kxbase::ptr_refcount<counted> const plain = make_refcount<counted>();
    kxbase::ptr_refcount<counted> const special = make_refcount<derived>();
    EXPECT_FALSE(kxbase::dynamic_refcount_cast<derived>(plain));
    EXPECT_EQ(kxbase::dynamic_refcount_cast<derived>(special), special);
    EXPECT_EQ(kxbase::static_refcount_cast<derived>(special), special);
    EXPECT_EQ(special->reference_count(), 1u);
}

TEST_F(handles, compares_orders_and_hashes_by_address) {
    std::array<kxbase::ptr_refcount<counted>, 3> const three = {make_refcount<counted>(1), make_refcount<counted>(1),
                                                                make_refcount<counted>(1)};
    EXPECT_NE(three[0], three[1]);
    kxbase::ptr_refcount<counted const> const same = three[0];
    EXPECT_EQ(three[0], same);
    EXPECT_EQ(three[0] < three[1], std::less<>()(three[0].get(), three[1].get()));
    std::set<kxbase::ptr_refcount<counted>> const ordered(three.begin(), three.end());
    std::unordered_set<kxbase::ptr_refcount<counted>> const hashed(three.begin(), three.end());
    EXPECT_EQ(ordered.size(), 3u);
    EXPECT_EQ(hashed.count(three[2]), 1u);
}

TEST_F(handles, swaps_without_counting) {
    auto a = make_refcount<counted>(1);
    auto b = make_refcount<counted>(2);
    swap(a, b);
    EXPECT_EQ(a->value, 2);
    EXPECT_EQ(b->value, 1);
    EXPECT_EQ(a->reference_count(), 1u);
}

TEST_F(handles, making_goes_through_create_where_there_is_one) {
    EXPECT_EQ(make_refcount<with_payload>("text")->text, "text, made by create");
    EXPECT_EQ(make_refcount<with_payload const>("text")->text, "text, made by create");
}

TEST_F(handles, a_class_may_dispose_of_its_objects_without_recursion) {
    constexpr int length = 1'000'000;
    auto first = make_refcount<chain_link>();
    for (int i = 0; i < length; ++i) {
        auto longer = make_refcount<chain_link>();
        longer->next = std::move(first);
        first = std::move(longer);
    }
    auto const kept = first->next->next;
    first.reset();
    EXPECT_EQ(kept->reference_count(), 1u);
    EXPECT_TRUE(kept->next);
}

TEST_F(handles, threads_count_together) {
    auto shared = make_refcount<counted>(1);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([shared] {
            for (int i = 0; i < 20'000; ++i) {
                auto const copy = shared;
                kxbase::ptr_refcount<counted const> const moved = copy;
            }
        });
    for (auto& thread : threads)
        thread.join();
    threads.clear();
    EXPECT_EQ(shared->reference_count(), 1u);
    EXPECT_EQ(counted::alive, 1);
}

TEST_F(handles, the_last_of_several_threads_destroys_after_all_others_wrote) {
    for (int round = 0; round < 200; ++round) {
        auto shared = make_refcount<derived>();
        auto const write = [](kxbase::ptr_refcount<derived> handle, int* seen) {
            *seen = handle->value;
            handle.reset();
        };
        std::array<int, 2> seen = {-1, -1};
        std::thread first(write, shared, &seen[0]);
        std::thread second(write, std::move(shared), &seen[1]);
        first.join();
        second.join();
        EXPECT_EQ(seen[0] + seen[1], 0);
        ASSERT_EQ(counted::alive, 0);
    }
}
