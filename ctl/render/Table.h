// Columns that fit a terminal.
#ifndef ORLOCTL_RENDER_TABLE_H
#define ORLOCTL_RENDER_TABLE_H

#include <string>
#include <utility>
#include <vector>

namespace OrloCtl {

/// How something stands out, on terminals that can show it.
enum class Paint { plain, good, bad, faint };

/// `text` in that colour, if `isColored`.
std::string painted( const std::string &text, Paint paint, bool isColored );

/// Lays out rows under headers. Columns are as wide as their content; when that is too much for
/// the terminal, the flexible ones give way, the widest first, and their content takes more lines.
class Table {
 public:
   struct Column {
      std::string header;
      enum Kind { left, right, flexible } kind = left;
   };
   struct Cell {
      Cell( std::string content, Paint color = Paint::plain )
            : text( std::move( content ) ), paint( color ) {}
      Cell( const char *content ) : text( content ) {}

      std::string text;
      Paint paint = Paint::plain;
   };

   explicit Table( std::vector<Column> columns ) : columns_( std::move( columns ) ) {}

   /// As many cells as there are columns.
   void add( std::vector<Cell> row ) { rows_.push_back( std::move( row ) ); }
   bool empty() const { return rows_.empty(); }

   /// Headers and rows, `indent` columns from the left.
   std::string text( bool isColored, std::size_t indent = 0 ) const;

 private:
   std::vector<std::size_t> widths( std::size_t room ) const;
   std::string line( const std::vector<Cell> &cells, const std::vector<std::size_t> &widths,
                     bool isColored, std::size_t indent ) const;

   std::vector<Column> columns_;
   std::vector<std::vector<Cell>> rows_;
};

} // namespace OrloCtl

#endif
