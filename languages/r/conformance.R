# Runs the suite of interface/conformance through the package:
#   VEXA_HOME=build/release/home Rscript languages/r/conformance.R interface/conformance
library(vexastatistics, lib.loc = file.path(Sys.getenv("VEXA_HOME"), "lib", "R-library"))

vectors <- function(argument) if (is.list(argument)) unlist(argument) else argument

bytes <- function(argument) {
  if (!is.character(argument) || length(argument) != 1 || !startsWith(argument, "hex:")) return(argument)
  digits <- strsplit(argument, "")[[1]][-(1:4)]
  as.raw(strtoi(paste0(digits[c(TRUE, FALSE)], digits[c(FALSE, TRUE)]), 16))
}

# A vector of one is R's only form of one value.
same <- function(got, wanted) {
  if (identical(wanted, "*")) return(TRUE)
  if (is.raw(got)) got <- length(got)
  if (is.null(wanted)) return(is.null(got) || identical(got, NA_character_))
  if (is.list(wanted)) return(length(got) == length(wanted) && all(mapply(same, as.list(got), wanted)))
  if (is.numeric(wanted)) is.numeric(got) && isTRUE(got == wanted) else identical(got, wanted)
}

# The result in a list, which keeps a NULL, or the code.
outcome <- function(name, arguments)
  tryCatch(list("->", do.call(name, lapply(lapply(arguments, vectors), bytes))),
           vexaError = function(e) list("!", if (e$fun == name && nzchar(conditionMessage(e))) e$code))

data <- normalizePath(commandArgs(TRUE))
temp <- tempfile("conformance_")
dir.create(temp)
lines <- readLines(file.path(data, "calls.txt"), encoding = "UTF-8")
lines <- gsub("{temp}", temp, gsub("{data}", data, lines, fixed = TRUE), fixed = TRUE)
passed <- failed <- left.out <- 0
for (number in seq_along(lines)) {
  line <- lines[number]
  if (startsWith(line, "start")) {
    vexa.start(trimws(sub("start", "", line)))
  } else if (line == "stop") {
    vexa.stop()
  } else if (nzchar(line) && !startsWith(line, "#")) {
    parts <- regmatches(line, regexec("^(\\w+) (\\[.*\\]) (->|!) (.*)$", line))[[1]][-1]
    if (!exists(parts[1])) {
      left.out <- left.out + 1
      next
    }
    got <- outcome(parts[1], jsonlite::fromJSON(parts[2], simplifyVector = FALSE))
    if (got[[1]] == parts[3] && same(got[[2]], jsonlite::fromJSON(parts[4], simplifyVector = FALSE))) {
      passed <- passed + 1
    } else {
      failed <- failed + 1
      cat("line ", number, ": ", line, "\n    gave ", got[[1]], " ", deparse(got[[2]]), "\n", sep = "")
    }
  }
}
cat(passed, "passed,", failed, "failed,", left.out, "left out\n")
quit(status = if (failed > 0) 1 else 0)
