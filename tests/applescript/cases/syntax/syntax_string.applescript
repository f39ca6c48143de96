return "abc
