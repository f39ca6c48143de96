display notification "body" with title "t" subtitle "s" sound name "Glass"
