// Tables: as wide as their content, and never wider than the terminal.
#include "ctl/render/Table.h"
#include "ctl/render/Words.h"

#include <gtest/gtest.h>

namespace OrloCtl {
namespace {

using Column = Table::Column;

TEST( Table, ColumnsAreAsWideAsTheirContentAndLinesEndWithIt ) {
   Table table( { { "N", Column::right }, { "NAME" }, { "REST" } } );
   EXPECT_TRUE( table.empty() );
   table.add( { "1", "a", "x" } );
   table.add( { "100", "longer", "" } );
   EXPECT_FALSE( table.empty() );
   EXPECT_EQ( table.text( false ), "  N  NAME    REST\n"
                                   "  1  a       x\n"
                                   "100  longer\n" );
   EXPECT_EQ( table.text( false, 2 ), "    N  NAME    REST\n"
                                      "    1  a       x\n"
                                      "  100  longer\n" );
}

TEST( Table, ColorsDoNotMoveColumns ) {
   Table table( { { "A" }, { "B" } } );
   table.add( { { "no", Paint::bad }, "b" } );
   EXPECT_EQ( table.text( false ), "A   B\nno  b\n" );
   EXPECT_EQ( table.text( true ), "A   B\n\033[31mno\033[0m  b\n" );
}

TEST( Table, FlexibleColumnsGiveWay ) {
   Table table( { { "A", Column::flexible }, { "B" }, { "C", Column::flexible } } );
   table.add( { std::string( 50, 'a' ), "b", "some words " + std::string( 40, 'c' ) } );
   EXPECT_EQ( table.text( false ), "A" + std::string( 38, ' ' ) + "B  C\n" + // 37, 1 and 38 columns
                                         std::string( 37, 'a' ) + "  b  some words\n" +
                                         std::string( 13, 'a' ) + std::string( 29, ' ' ) +
                                         std::string( 38, 'c' ) + "\n" + std::string( 42, ' ' ) +
                                         "cc\n" );
}

TEST( Table, WhatCannotGiveWayIsShownAllTheSame ) {
   Table table( { { "A" }, { "B", Column::flexible } } );
   table.add( { std::string( 90, 'a' ), std::string( 16, 'b' ) } );
   EXPECT_EQ( table.text( false ), "A" + std::string( 91, ' ' ) + "B\n" + std::string( 90, 'a' ) +
                                         "  bbbbbbbb\n" + std::string( 92, ' ' ) + "bbbbbbbb\n" );
}

} // namespace
} // namespace OrloCtl
