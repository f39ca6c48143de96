{length of "a👍🏽é", character 2 of "a👍🏽é"}
