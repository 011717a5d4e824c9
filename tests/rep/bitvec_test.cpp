// BITVEC against std::vector<bool>, by random operations.
#include "OPT5/rep/bitvec.h"

#include <gmock/gmock.h>

#include <random>
#include <vector>

namespace {
using BITS = std::vector<bool>;

void expect_same(const BITVEC &set, const BITS &bits) {
    ASSERT_EQ(set.size, bits.size());
    unsigned count = 0, next = 0;
    std::vector<unsigned> members, seen;
    for (unsigned n = 0; n < bits.size(); ++n) {
        ASSERT_EQ(set.contains(n), bits[n]) << n;
        if (!bits[n]) continue;
        ++count;
        members.push_back(n);
        ASSERT_EQ(set.next(next), n);
        next = n + 1;
    }
    EXPECT_EQ(set.next(next), set.size);
    EXPECT_EQ(set.count(), count);
    EXPECT_EQ(set.empty(), count == 0);
    set.for_each([&](unsigned n) { seen.push_back(n); });
    EXPECT_EQ(seen, members);
}

TEST(Bitvec, AgreesWithVectorOfBool) {
    std::mt19937 random(1);
    BV_ZONE zone;
    for (const unsigned size : {0u, 1u, 63u, 64u, 65u, 200u}) {
        BITVEC sets[3] = {BITVEC(size), BITVEC(size, &zone), BITVEC(size)};
        BITS bits[3] = {BITS(size), BITS(size), BITS(size)};
        for (int round = 0; round < 300; ++round) {
            const unsigned a = random() % 3, b = random() % 3, c = random() % 3;
            const unsigned n = size ? random() % size : 0, m = size ? random() % (size + 1) : 0;
            const BITS old = bits[a];
            bool changed = false, tells = true;
            const auto apply = [&](auto value) {
                for (unsigned k = 0; k < size; ++k)
                    bits[a][k] = value(k);
            };
            switch (random() % 12) {
            case 0:
                changed = sets[a].merge(sets[b]);
                apply([&](unsigned k) { return old[k] || bits[b][k]; });
                break;
            case 1:
                changed = sets[a].intersect(sets[b]);
                apply([&](unsigned k) { return old[k] && bits[b][k]; });
                break;
            case 2:
                if (a == b) continue;
                changed = sets[a].subtract(sets[b]);
                apply([&](unsigned k) { return old[k] && !bits[b][k]; });
                break;
            case 3: {
                const BITS x = bits[b], y = bits[c];
                changed = sets[a].and3(sets[b], sets[c]);
                apply([&](unsigned k) { return x[k] && y[k]; });
                break;
            }
            case 4: {
                const BITS x = bits[b], y = bits[c];
                changed = sets[a].merge_less(sets[b], sets[c]);
                apply([&](unsigned k) { return old[k] || (x[k] && !y[k]); });
                break;
            }
            case 5: {
                const BITS x = bits[b], y = bits[c];
                changed = sets[a].transfer(sets[b], sets[c], sets[2]);
                const BITS kill = a == 2 ? old : bits[2];
                apply([&](unsigned k) { return x[k] || (y[k] && !kill[k]); });
                break;
            }
            case 6:
                sets[a].clr(std::min(n, m), m);
                apply([&](unsigned k) { return old[k] && !(k >= std::min(n, m) && k < m); });
                tells = false;
                break;
            case 7:
                sets[a] = sets[b];
                bits[a] = bits[b];
                tells = false;
                break;
            case 8:
                sets[a].set_all();
                apply([](unsigned) { return true; });
                tells = false;
                break;
            default:
                tells = false;
                if (size == 0) break;
                if (random() % 3) {
                    sets[a].add(n);
                    bits[a][n] = true;
                } else {
                    sets[a].remove(n);
                    bits[a][n] = false;
                }
            }
            expect_same(sets[a], bits[a]);
            if (tells) {
                EXPECT_EQ(changed, old != bits[a]);
            }
            bool overlaps = false, subset = true;
            for (unsigned k = 0; k < size; ++k) {
                overlaps |= bits[a][k] && bits[b][k];
                subset &= !bits[a][k] || bits[b][k];
            }
            EXPECT_EQ(sets[a].overlaps(sets[b]), overlaps);
            EXPECT_EQ(sets[a].is_subset_of(sets[b]), subset);
            EXPECT_EQ(sets[a] == sets[b], bits[a] == bits[b]);
        }
    }
}

TEST(Bitvec, KeepsItsMembersWhenItGrows) {
    BV_ZONE zone;
    for (BV_ZONE *where : {static_cast<BV_ZONE *>(nullptr), &zone}) {
        BITVEC set(10, where);
        set.add(3), set.add(9);
        bv_resize(set, 300);
        set.add(299);
        EXPECT_EQ(bv_text(set), "3 9 299");
        bv_resize(set, 9);
        EXPECT_EQ(bv_text(set), "3");
        bv_resize(set, 300); // what was cut off does not come back
        EXPECT_EQ(bv_text(set), "3");
    }
    BITVEC runs(20);
    for (const unsigned n : {1u, 4u, 5u, 9u, 10u, 11u, 19u})
        runs.add(n);
    EXPECT_EQ(bv_text(runs), "1 4 5 9-11 19");
    BITVEC moved(std::move(runs));
    EXPECT_EQ(moved.count(), 7u);
    bv_free(moved);
    EXPECT_EQ(moved.size, 0u);
}

TEST(BitvecDeathTest, RefusesWhatIsBeyond) {
    BV_ZONE zone;
    BITVEC set(10), other(11), zoned(10, &zone);
    const auto dies = [](auto operation, const char *message) {
        EXPECT_EXIT(operation(), ::testing::ExitedWithCode(1), ::testing::HasSubstr(message));
    };
    dies([&] { set.add(10); }, "Index beyond size:add");
    dies([&] { set.remove(10); }, "Index beyond size:remove");
    dies([&] { set.merge(other); }, "Vector size mismatch:merge");
    dies([&] { set.and3(set, other); }, "Vector size mismatch:and3");
    dies([&] { set.clr(0, 11); }, "Endpoint beyond size:clr");
    dies([&] { bv_free(zoned); }, "Should not free a zoned bitvector");
    EXPECT_FALSE(set.contains(10));
}
} // namespace
