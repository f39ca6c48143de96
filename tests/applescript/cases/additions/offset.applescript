{offset of "b" in "abc", offset of "B" in "abc", offset of "z" in "abc"}
