set {a, b} to {1}
