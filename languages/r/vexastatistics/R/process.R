# What the backend's side of the bridge has R do: once behind the start, and around each block. Each line that it sends
# is answered with the next prompt.

initRProcess <- function(name, path, id, language) invisible(.Call(C_init_process, name, path, id, language))

# From here on what R prints goes to the backend's output.
prevexa <- function() invisible(.Call(C_begin_block))

# At a browser prompt, and within an expression that a block has left open, R never comes to call this: reading the line
# then ends the one and the other first.
postvexa <- function() invisible(.Call(C_end_block))
