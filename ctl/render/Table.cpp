#include "ctl/render/Table.h"

#include "ctl/render/Words.h"

#include <algorithm>
#include <numeric>

namespace OrloCtl {

namespace {

constexpr std::size_t kGap = 2;
constexpr std::size_t kNarrowest = 8; // of a flexible column

} // namespace

std::string painted( const std::string &text, Paint paint, bool isColored ) {
   if( !isColored || paint == Paint::plain ) {
      return text;
   }
   const char *const start = paint == Paint::good  ? "\033[32m"
                             : paint == Paint::bad ? "\033[31m"
                                                   : "\033[2m";
   return start + text + "\033[0m";
}

std::string Table::text( bool isColored, std::size_t indent ) const {
   const std::vector<std::size_t> columns = widths( kWidth - indent );
   std::vector<Cell> headers;
   for( const Column &column : columns_ ) {
      headers.emplace_back( column.header );
   }
   std::string all = line( headers, columns, false, indent );
   for( const std::vector<Cell> &row : rows_ ) {
      all += line( row, columns, isColored, indent );
   }
   return all;
}

std::vector<std::size_t> Table::widths( std::size_t room ) const {
   std::vector<std::size_t> widths;
   for( std::size_t i = 0; i < columns_.size(); ++i ) {
      std::size_t width = columns_[i].header.size();
      for( const std::vector<Cell> &row : rows_ ) {
         width = std::max( width, row[i].text.size() );
      }
      widths.push_back( width );
   }
   const std::size_t gaps = kGap * ( columns_.size() - 1 );
   while( std::accumulate( widths.begin(), widths.end(), gaps ) > room ) {
      std::size_t *widest = nullptr;
      for( std::size_t i = 0; i < columns_.size(); ++i ) {
         if( columns_[i].kind == Column::flexible &&
             widths[i] > std::max( kNarrowest, columns_[i].header.size() ) &&
             ( !widest || widths[i] > *widest ) ) {
            widest = &widths[i];
         }
      }
      if( !widest ) {
         break;
      }
      --*widest;
   }
   return widths;
}

std::string Table::line( const std::vector<Cell> &cells, const std::vector<std::size_t> &widths,
                         bool isColored, std::size_t indent ) const {
   std::vector<std::vector<std::string>> pieces;
   std::size_t height = 1;
   for( std::size_t i = 0; i < cells.size(); ++i ) {
      pieces.push_back( columns_[i].kind == Column::flexible
                              ? wrapped( cells[i].text, widths[i] )
                              : std::vector<std::string>{ cells[i].text } );
      height = std::max( height, pieces.back().size() );
   }
   std::string all;
   for( std::size_t row = 0; row < height; ++row ) {
      std::string line;
      std::size_t blanks = indent; // before the next piece; none at the end of a line
      for( std::size_t i = 0; i < cells.size(); ++i ) {
         const std::string piece = row < pieces[i].size() ? pieces[i][row] : std::string();
         const std::size_t padding = widths[i] - std::min( widths[i], piece.size() );
         const bool isRight = columns_[i].kind == Column::right;
         if( piece.empty() ) {
            blanks += padding;
         } else {
            line += std::string( blanks + ( isRight ? padding : 0 ), ' ' ) +
                    painted( piece, cells[i].paint, isColored );
            blanks = isRight ? 0 : padding;
         }
         blanks += kGap;
      }
      all += line + "\n";
   }
   return all;
}

} // namespace OrloCtl
