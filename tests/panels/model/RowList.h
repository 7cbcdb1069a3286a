// A list of plain rows for the panel models' list views: it fails the test
// on any write outside its rows and counts the cells written.
#pragma once

#include "panels/model/PgnListView.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace ferrow::panels::test {

class RowList : public PgnListView {
public:
    void SetColumns(const std::vector<Column>& columns) override {
        EXPECT_TRUE(rows.empty());
        headings.clear();
        for (const Column& column : columns) headings.push_back(column.heading);
    }
    void InsertRow(int row) override {
        ASSERT_TRUE(row >= 0 && row <= RowCount());
        rows.insert(rows.begin() + row, std::vector<std::string>(headings.size()));
    }
    void SetCell(int row, int column, const std::string& text) override {
        ASSERT_TRUE(row >= 0 && row < RowCount());
        ASSERT_TRUE(column >= 0 && column < static_cast<int>(headings.size()));
        rows[row][column] = text;
        ++cellWrites;
    }
    void DeleteRow(int row) override {
        ASSERT_TRUE(row >= 0 && row < RowCount());
        rows.erase(rows.begin() + row);
    }
    int RowCount() const override { return static_cast<int>(rows.size()); }

    std::vector<std::string> headings;
    std::vector<std::vector<std::string>> rows;
    int cellWrites = 0;
};

}  // namespace ferrow::panels::test
