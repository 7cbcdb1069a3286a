// The monitor window's PGN-list helper, driven against a list of plain rows
// that fails the test on any write outside its rows.
#include "panels/model/BrovikPgn.h"

#include "RowList.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using ferrow::panels::PgnListView;
using ferrow::panels::PgnRowTable;
using ferrow::panels::test::RowList;

N2KMsg Msg(uint32_t pgn, uint8_t source, uint32_t timeStamp = 0, uint8_t first = 0) {
    N2KMsg msg{};
    msg.pgn = pgn;
    msg.priority = 3;
    msg.addressA = source;
    msg.addressB = 255;
    msg.length = 8;
    msg.data[0] = first;
    msg.timeStamp = timeStamp;
    return msg;
}

void ExpectMirrors(const RowList& list, const PgnRowTable& table) {
    ASSERT_EQ(static_cast<std::size_t>(list.RowCount()), table.Rows());
    for (std::size_t row = 0; row < table.Rows(); ++row) {
        for (int column = 0; column < PgnRowTable::kColumns; ++column) {
            ASSERT_EQ(list.rows[row][column], table.Cell(row, static_cast<PgnRowTable::Column>(column)))
                << "row " << row << " column " << column;
        }
    }
}

TEST(BrovikPgn, InitGivesTheColumnsToAnEmptiedListAndRepeatsRewriteOnlyTheCount) {
    BrovikPgn pgn;
    RowList list;
    pgn.PGNList_OnInitDialog(&list);
    ASSERT_EQ(list.headings.size(), static_cast<std::size_t>(PgnRowTable::kColumns));
    EXPECT_EQ(list.headings[PgnRowTable::kData], "Data");

    N2KMsg msg = Msg(127250, 1);
    pgn.add_pgn_list(&list, &msg);
    pgn.add_pgn_list(&list, &msg);
    EXPECT_EQ(list.cellWrites, PgnRowTable::kColumns + 1);
    pgn.PGNList_OnInitDialog(&list);
    EXPECT_EQ(list.RowCount(), 0);
    pgn.add_pgn_list(&list, &msg);
    EXPECT_EQ(list.rows[0][PgnRowTable::kCount], "1");
}

// Inserts, evictions and rate changes reach the list at the indexes the table
// has them, in an order the list can apply: nothing drifts over time.
TEST(BrovikPgn, KeepsTheListEqualToItsTableThroughEvictionsAndAgeing) {
    BrovikPgn pgn(8);
    RowList list;
    pgn.PGNList_OnInitDialog(&list);
    uint32_t state = 7;
    for (uint32_t i = 0; i < 3000; ++i) {
        state = state * 1664525u + 1013904223u;
        N2KMsg msg = Msg(126990 + (state >> 24) % 12, static_cast<uint8_t>((state >> 16) % 3), i * 3,
                         static_cast<uint8_t>(state >> 8));
        pgn.add_pgn_list(&list, &msg);
        // The window's own clock runs at another pace than the stamps.
        if (i % 7 == 0) pgn.Age(&list, i * 5);
        ASSERT_NO_FATAL_FAILURE(ExpectMirrors(list, *pgn.TableOf(&list)));
    }
    for (uint32_t local = 15000; local < 16000; local += 10) pgn.Age(&list, local);
    ExpectMirrors(list, *pgn.TableOf(&list));
    EXPECT_EQ(list.rows[0][PgnRowTable::kRate], "0.0") << "traffic stopped";
    EXPECT_EQ(list.RowCount(), 8);
    EXPECT_GT(pgn.TableOf(&list)->Evictions(), 0u);
}

TEST(BrovikPgn, KeepsEachListApartAndClearsOneAtATime) {
    BrovikPgn pgn;
    RowList rx, tx;
    pgn.PGNList_OnInitDialog(&rx);
    pgn.PGNList_OnInitDialog(&tx);
    N2KMsg heading = Msg(127250, 1), depth = Msg(128267, 2);
    pgn.add_pgn_list(&rx, &heading);
    pgn.add_pgn_list(&rx, &heading);
    pgn.add_pgn_list(&tx, &depth);

    pgn.Clear(&rx);
    EXPECT_EQ(rx.RowCount(), 0);
    ASSERT_EQ(tx.RowCount(), 1);
    pgn.add_pgn_list(&rx, &heading);
    EXPECT_EQ(rx.rows[0][PgnRowTable::kCount], "1");
    EXPECT_EQ(tx.rows[0][PgnRowTable::kName], "Water Depth");
}

TEST(BrovikPgn, IgnoresNullsAndRestartsAListEmptiedBehindItsBack) {
    BrovikPgn pgn;
    RowList list;
    pgn.PGNList_OnInitDialog(&list);
    N2KMsg first = Msg(127250, 1), second = Msg(130312, 4);
    pgn.add_pgn_list(static_cast<RowList*>(nullptr), &first);
    pgn.add_pgn_list(&list, static_cast<N2KMsg*>(nullptr));
    pgn.Clear(static_cast<RowList*>(nullptr));
    pgn.Age(static_cast<RowList*>(nullptr), 100);
    EXPECT_EQ(list.RowCount(), 0);

    pgn.add_pgn_list(&list, &first);
    pgn.add_pgn_list(&list, &second);
    list.rows.clear();
    pgn.add_pgn_list(&list, &first);
    ASSERT_EQ(list.RowCount(), 1);
    EXPECT_EQ(list.rows[0][PgnRowTable::kCount], "1");
    ExpectMirrors(list, *pgn.TableOf(&list));
}

}  // namespace
