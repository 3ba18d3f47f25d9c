# A session of an R that is a program of its own.

.session <- new.env()

.handed.on <- c("DISPLAY", "XAUTHORITY", "LANG", "LC_ALL", "TZ")

vexa.start <- function(options = "", home = Sys.getenv("VEXA_HOME"), env = NULL) {
  if (IsBackendReady()) return(invisible())
  given <- nzchar(home)
  if (!given) home <- normalizePath(file.path(getNamespaceInfo("vexastatistics", "path"), "..", "..", ".."))
  there <- file.exists(file.path(home, "bin", "StartXD"))
  if (given && !there)
    stop("there is no bin/StartXD in ", home, "; VEXA_HOME must name the home of the backend's installation")
  .prepare.session()
  if (there) SetXNameAndSHome(NULL, normalizePath(home)) # else the library finds the one that it is installed with
  started <- FALSE
  on.exit(if (!started) StopVexa())
  StartVexa(paste(c(options, .env.options(env)), collapse = " "))
  started <- TRUE
  invisible()
}

vexa.stop <- function() invisible(StopVexa())

# Neither start nor stop pauses, the fifos are in a directory of the user's own, and both go when R ends, unless the
# environment has other wishes.
.prepare.session <- function() {
  if (is.na(Sys.getenv("VEXA_QUICK", NA))) Sys.setenv(VEXA_QUICK = "1")
  if (is.na(Sys.getenv("VEXADXTEMP", NA))) {
    .session$fifos <- tempfile("vexa_")
    dir.create(.session$fifos, mode = "0700")
    Sys.setenv(VEXADXTEMP = .session$fifos)
  }
  if (is.null(.session$process)) reg.finalizer(.session, .end.session, onexit = TRUE)
  .session$process <- Sys.getpid()
}

# A fork of this R has no say.
.end.session <- function(session) {
  if (!identical(session$process, Sys.getpid())) return()
  StopVexa()
  unlink(session$fifos, recursive = TRUE)
}

# What the backend starts gets these. They are options of the practice engine.
.env.options <- function(env) {
  if (!is.null(env) && length(env) == 0) return(NULL)
  values <- Sys.getenv(.handed.on, NA, names = TRUE)
  values[names(env)] <- as.character(env)
  values <- values[!is.na(values)]
  sprintf("-env \"%s\"", gsub("\"", "\"\"", paste0(names(values), "=", values), fixed = TRUE))
}
