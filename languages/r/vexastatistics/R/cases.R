# Datasets in R's own forms.

# A row for each variable of the active dataset.
vexa.dictionary <- function() {
  index <- seq_len(GetVariableCount()) - 1L
  data.frame(name = vapply(index, GetVariableName, ""), label = vapply(index, GetVariableLabel, ""),
             type = vapply(index, GetVariableType, 0L), format = vapply(index, GetVariableFormat, ""),
             level = vapply(index, GetVariableMeasurementLevel, 0L), role = vapply(index, GetVariableRole, 0L))
}

# All cases of the variables named, or of all, of the active dataset or of the one named. Texts come without the blanks at
# their end; a variable's label is its attribute "label". What is missing is NA; with user.missing = TRUE only what is
# system-missing is. With labels = TRUE a variable that has value labels comes as a factor of them.
vexa.data <- function(variables = NULL, user.missing = FALSE, labels = FALSE, dataset = NULL) {
  .frame(.Call(C_next_columns, .columns(variables, user.missing, labels, dataset, -1L), TRUE))
}

# The same in batches, for more cases than memory holds: a function that gives the next batch each time that it is called, and
# NULL behind the last. Batches of `rows` cases, or of as many as cost least. No other cursor may be open until then.
vexa.batches <- function(variables = NULL, user.missing = FALSE, labels = FALSE, dataset = NULL, rows = 0L) {
  columns <- .columns(variables, user.missing, labels, dataset, rows)
  function() .frame(.Call(C_next_columns, columns, FALSE))
}

.columns <- function(variables, user.missing, labels, dataset, rows) {
  .Call(C_open_columns, dataset, variables, isTRUE(labels), isTRUE(user.missing), as.integer(rows))
}

.frame <- function(values) {
  if (is.null(values)) return(NULL)
  structure(values, class = "data.frame", row.names = .set_row_names(if (length(values)) length(values[[1]]) else 0L))
}

# From a data frame, or a list of columns. Factors are numbers with their levels as value labels, a Date and a POSIXct the
# seconds since 1970, a difftime seconds; NA is missing. The attribute "label" of a column is the variable's label. What
# cannot be stored is refused before anything is written.

# As new cases; the columns are variables that are there.
vexa.append <- function(data, dataset = NULL) .write("VexaAppendColumns", data, dataset)
# As new variables, with a value for each case.
vexa.add <- function(data, dataset = NULL) .write("VexaAddColumns", data, dataset)
# In place of the values of variables that are there.
vexa.replace <- function(data, dataset = NULL) .write("VexaReplaceColumns", data, dataset)
# As a dataset of that name, which becomes the active one.
vexa.create <- function(name, data) .write("VexaCreateColumns", data, name)

.write <- function(fun, data, dataset) {
  columns <- lapply(unclass(data), .plain)
  if (is.null(names(columns)) && length(columns)) stop("columns need names")
  if (length(unique(lengths(columns))) > 1) stop("columns of different lengths")
  invisible(.Call(C_write_columns, fun, dataset, columns))
}

.plain <- function(column) {
  label <- attr(column, "label", exact = TRUE)
  seconds <- if (inherits(column, "Date")) as.numeric(column) * 86400
             else if (inherits(column, "POSIXt")) as.numeric(as.POSIXct(column))
             else if (inherits(column, "difftime")) as.numeric(column, units = "secs")
  if (is.null(seconds)) column else structure(seconds, label = label)
}
