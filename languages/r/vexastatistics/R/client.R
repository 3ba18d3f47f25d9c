# The client interface, by the names of the C header. Indexes count from 0, as the backend counts. A code other than 0 is
# an error of class "vexaError", which carries the function's name and the code; its message says what is known of the cause.

vexaFailure <- function(fun, code, words) {
  stop(structure(class = c("vexaError", "error", "condition"),
                 list(message = words, call = NULL, fun = fun, code = code)))
}

GetVariableCount <- function() .Call(C_count, "GetVariableCount")
# NA when the backend does not know.
GetRowCount <- function() .Call(C_count, "GetRowCount")

GetVariableName <- function(index) .Call(C_variable_text, "GetVariableName", index)
GetVariableLabel <- function(index) .Call(C_variable_text, "GetVariableLabel", index)
GetVariableFormat <- function(index) .Call(C_variable_text, "GetVariableFormat", index)
# 0 for a number, the width in bytes for a text.
GetVariableType <- function(index) .Call(C_variable_number, "GetVariableType", index)
GetVariableMeasurementLevel <- function(index) .Call(C_variable_number, "GetVariableMeasurementLevel", index)
GetVariableRole <- function(index) .Call(C_variable_number, "GetVariableRole", index)

GetWeightVar <- function() .Call(C_weight)
GetSplitVariableNames <- function() .Call(C_split_names)

# Commands may come as several lines.
Submit <- function(command) invisible(.Call(C_text, "Submit", paste(command, collapse = "\n")))
PostVexaOutput <- function(output) invisible(.Call(C_text, "PostVexaOutput", paste(output, collapse = "\n")))

StartProcedure <- function(name, title = name) invisible(.Call(C_start_procedure, name, title))
EndProcedure <- function() invisible(.Call(C_end_procedure))

CreateXPathDictionary <- function(handle) invisible(.Call(C_text, "CreateXPathDictionary", handle))
RemoveXPathHandle <- function(handle) invisible(.Call(C_text, "RemoveXPathHandle", handle))
EvaluateXPath <- function(handle, context, expression) .Call(C_xpath, handle, context, expression)
