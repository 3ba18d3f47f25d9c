# The active dataset in R's own forms.

# A row for each variable.
vexa.dictionary <- function() {
  index <- seq_len(GetVariableCount()) - 1L
  data.frame(name = vapply(index, GetVariableName, ""), label = vapply(index, GetVariableLabel, ""),
             type = vapply(index, GetVariableType, 0L), format = vapply(index, GetVariableFormat, ""),
             level = vapply(index, GetVariableMeasurementLevel, 0L), role = vapply(index, GetVariableRole, 0L))
}

# All cases of the variables named, or of all, to the end of the data or of the split. Texts come without the blanks at
# their end. What is missing is NA; with user.missing = TRUE only what is system-missing is.
vexa.data <- function(variables = NULL, user.missing = FALSE) {
  count <- GetVariableCount()
  index <- seq_len(count) - 1L
  there <- vapply(index, GetVariableName, "")
  if (is.null(variables)) variables <- there
  columns <- match(variables, there) - 1L
  if (anyNA(columns)) stop("no variable of the name ", paste(variables[is.na(columns)], collapse = ", "))
  widths <- vapply(columns, GetVariableType, 0L)
  expected <- GetRowCount()
  .Call(C_open_cursor)
  on.exit(.Call(C_close_cursor))
  values <- .Call(C_read_cases, columns, widths, if (is.na(expected)) 0 else expected, isTRUE(user.missing))
  names(values) <- variables
  structure(values, class = "data.frame", row.names = .set_row_names(if (length(values)) length(values[[1]]) else 0L))
}
