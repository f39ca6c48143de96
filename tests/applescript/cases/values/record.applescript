{name:"a", |my key|:2, start date:3}
