{id of "A", id of "AB"}
