date "nonsense"
