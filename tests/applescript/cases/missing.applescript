missing value
