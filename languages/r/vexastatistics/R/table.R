# Pivot tables. A cell goes to the categories that were named last.

# SetFormatSpec("Mean", 3): the header's SetFormatSpecMean of the variable with that index, for the numbers that follow.
SetFormatSpec <- function(kind, index = NULL)
  invisible(do.call(paste0("SetFormatSpec", kind), as.list(index), envir = environment(SetFormatSpec)))

# A matrix as a table, its dimnames as the categories. `format` is a kind of SetFormatSpec for each column, in turn. What
# is NA is left empty.
vexa.table <- function(x, outline, type, title = type, rows = "Row", columns = "Column", format = "GeneralStat",
                       caption = NULL) {
  x <- as.matrix(x)
  row.names <- if (is.null(rownames(x))) as.character(seq_len(nrow(x))) else rownames(x)
  col.names <- if (is.null(colnames(x))) as.character(seq_len(ncol(x))) else colnames(x)
  format <- rep_len(format, ncol(x))
  table <- list(outline, type, title, FALSE)
  across <- c(table, list(columns, 1L, 0L, TRUE, FALSE))
  down <- c(table, list(rows, 0L, 0L, FALSE, FALSE))
  do.call(StartPivotTable, table)
  if (!is.null(caption)) do.call(PivotTableCaption, c(table, caption))
  do.call(AddDimension, down)
  do.call(AddDimension, across)
  for (i in seq_len(nrow(x))) {
    do.call(AddStringCategory, c(down, row.names[i]))
    for (j in seq_len(ncol(x))) {
      do.call(AddStringCategory, c(across, col.names[j]))
      if (is.na(x[i, j])) next
      if (is.character(x)) {
        do.call(SetStringCell, c(across, x[i, j]))
      } else {
        SetFormatSpec(format[j])
        do.call(SetNumberCell, c(across, as.numeric(x[i, j])))
      }
    }
  }
  invisible(table)
}
