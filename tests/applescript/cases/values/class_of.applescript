{class of "a", class of 1, class of 1.5, class of {}, class of {a:1}, class of true, class of (current date), class of missing value}
