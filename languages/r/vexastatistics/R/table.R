# Pivot tables. A table is named by list(outline, type, title, split), a dimension of it by list(text, place, position,
# hide.name, hide.labels); a place is 0 for rows, 1 for columns, 2 for layers. A cell goes to the categories that were
# named last.

StartPivotTable <- function(table) invisible(.Call(C_table, "StartPivotTable", table, NULL, NULL))
PivotTableCaption <- function(table, caption) invisible(.Call(C_table, "PivotTableCaption", table, NULL, caption))
AddDimension <- function(table, dimension) invisible(.Call(C_table, "AddDimension", table, dimension, NULL))
AddStringCategory <- function(table, dimension, value)
  invisible(.Call(C_table, "AddStringCategory", table, dimension, value))
AddNumberCategory <- function(table, dimension, value)
  invisible(.Call(C_table, "AddNumberCategory", table, dimension, as.double(value)))
AddVarNameCategory <- function(table, dimension, index)
  invisible(.Call(C_table, "AddVarNameCategory", table, dimension, as.integer(index)))
SetStringCell <- function(table, dimension, value)
  invisible(.Call(C_table, "SetStringCell", table, dimension, value))
SetNumberCell <- function(table, dimension, value)
  invisible(.Call(C_table, "SetNumberCell", table, dimension, as.double(value)))

# SetFormatSpec("Mean", 3): the header's SetFormatSpecMean of the variable with that index, for the numbers that follow.
SetFormatSpec <- function(kind, index = NULL)
  invisible(.Call(C_format, paste0("SetFormatSpec", kind), if (is.null(index)) NA_integer_ else as.integer(index)))

# A matrix as a table, its dimnames as the categories. `format` is a kind of SetFormatSpec for each column, in turn. What
# is NA is left empty.
vexa.table <- function(x, outline, type, title = type, rows = "Row", columns = "Column", format = "GeneralStat",
                       caption = NULL) {
  x <- as.matrix(x)
  row.names <- if (is.null(rownames(x))) as.character(seq_len(nrow(x))) else rownames(x)
  col.names <- if (is.null(colnames(x))) as.character(seq_len(ncol(x))) else colnames(x)
  format <- rep_len(format, ncol(x))
  table <- list(outline, type, title, FALSE)
  across <- list(columns, 1L, 0L, TRUE, FALSE)
  down <- list(rows, 0L, 0L, FALSE, FALSE)
  StartPivotTable(table)
  if (!is.null(caption)) PivotTableCaption(table, caption)
  AddDimension(table, down)
  AddDimension(table, across)
  for (i in seq_len(nrow(x))) {
    AddStringCategory(table, down, row.names[i])
    for (j in seq_len(ncol(x))) {
      AddStringCategory(table, across, col.names[j])
      if (is.na(x[i, j])) next
      if (is.character(x)) {
        SetStringCell(table, across, x[i, j])
      } else {
        SetFormatSpec(format[j])
        SetNumberCell(table, across, x[i, j])
      }
    }
  }
  invisible(table)
}
