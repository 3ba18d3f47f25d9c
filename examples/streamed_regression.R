# A linear regression over more cases than memory need hold: they come in batches, each of which adds its part to the sums that
# the coefficients are computed from. Those go into the output as a table.
next_batch <- vexa.batches(c("y", "a", "b"))
cases <- 0
squares <- products <- sum_of_y <- 0
while (!is.null(data <- next_batch())) {
  x <- cbind(`(Intercept)` = 1, a = data$a, b = data$b)
  squares <- squares + crossprod(x)
  products <- products + crossprod(x, data$y)
  sum_of_y <- sum_of_y + sum(data$y^2)
  cases <- cases + nrow(data)
}
inverse <- solve(squares)
coefficients <- drop(inverse %*% products)
variance <- (sum_of_y - sum(coefficients * products)) / (cases - length(coefficients))
cat(format(cases, big.mark = ",", scientific = FALSE), "cases\n")
StartProcedure("Regression")
vexa.table(cbind(Estimate = coefficients, `Std. Error` = sqrt(variance * diag(inverse))), "Regression", "Coefficients",
           "Coefficients of y", rows = "Term", columns = "Statistic", format = c("Coefficient", "CoefficientSE"))
EndProcedure()
