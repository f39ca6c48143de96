{ASCII character 65, ASCII number "a"}
