# The functions of the client interface, by the names of the C header, are in generated.R. A code other than 0 is an error of
# class "vexaError", which carries the function's name and the code; its message says what is known of the cause.

vexaFailure <- function(fun, code, words) {
  told <- paste0("(", code, ")")
  if (!grepl(told, words, fixed = TRUE))
    words <- if (code == 17) paste0(fun, ": no backend is running (17)") else paste0(fun, " failed with code ", code)
  stop(structure(class = c("vexaError", "error", "condition"),
                 list(message = words, call = NULL, fun = fun, code = code)))
}

# Commands and output may come as several lines.
paste.lines <- function(text) if (is.character(text)) paste(text, collapse = "\n") else text
